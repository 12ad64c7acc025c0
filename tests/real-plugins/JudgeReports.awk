# Judges what sanitizers report of a host that plays a plug-in of others: one line for each report, "host" or "plug-in",
# and what it is about.
#
#     awk -v plugin=FILE -v link=LINK -v fetched=FOLDER -v build=FOLDER -f JudgeReports.awk REPORT...
#
# FILE is the plug-in's own file and LINK the path by which the host was given it; each file below "vst" or "vst3" in the folder of what was fetched is one,
# too. The modules of stack frames stand behind their last "@", by the option stack_trace_format.
#
# Leaks and races are the plug-in's if it was the plug-in that allocated, or that made both accesses: on the way from
# the top of the stack its file comes before the host's program. Libraries decide nothing, for both use them, unless
# there is neither, as in a thread that a library has made for a plug-in. Everything else is the host's.

function endStack() {
    if (depth == 0)
        return
    stacks++
    owners[stacks] = owner != "" ? owner : isFetched ? "plug-in" : "unknown"
    depth = 0
    owner = ""
    isFetched = 0
}

function endReport(    i, verdict, looked) {
    endStack()
    if (title == "")
        return
    verdict = "host"
    looked = kind == "leak" ? 1 : kind == "race" ? 2 : 0
    if (looked > 0 && stacks > 0) {
        verdict = "plug-in"
        for (i = 1; i <= looked && i <= stacks; i++)
            if (owners[i] != "plug-in")
                verdict = "host"
        # A stack that ThreadSanitizer has forgotten may be anybody's.
        if (kind == "race" && isForgotten)
            verdict = "host"
    }
    print verdict ": " title ", " (top != "" ? top : "without a frame")
    title = ""
}

function beginReport(newKind, newTitle) {
    endReport()
    kind = newKind
    title = newTitle
    stacks = 0
    top = ""
    isForgotten = 0
}

function withoutNumber(text) {
    sub(/^=*[0-9]*=*/, "", text)
    return text
}

/WARNING: AddressSanitizer failed to allocate / { next }
/^ThreadSanitizer: reported [0-9]+ warnings/ { next }
/ERROR: LeakSanitizer: detected memory leaks/ { endReport(); next }
/^(Direct|Indirect) leak of / { sub(/ allocated from:.*/, ""); beginReport("leak", $0); next }
/WARNING: ThreadSanitizer: / { beginReport("race", withoutNumber($0)); next }
/Sanitizer[ :]/ && !/^SUMMARY: / { beginReport("error", withoutNumber($0)); next }
/runtime error: / { beginReport("error", $0); next }
/failed to restore the stack/ { isForgotten = 1; next }
/^ *#[0-9]+ / {
    depth++
    module = $0
    sub(/.*@/, "", module)
    if (module ~ /\/lib(asan|lsan|tsan|ubsan)\.so/)
        next
    # A sanitizer that is part of the program: it has names, but no sources.
    if (index(module, build "/") == 1 && $0 ~ / in .*\(.*\+0x[0-9a-f]+\)/)
        next
    if (owner == "") {
        if (module == plugin || module == link || (index(module, fetched "/") == 1 && module ~ /\/(vst|vst3)\//))
            owner = "plug-in"
        else if (index(module, build "/") == 1)
            owner = "host"
        else if (index(module, fetched "/") == 1)
            isFetched = 1
        if (owner != "" && top == "") {
            top = $0
            sub(/^ *#[0-9]+ (0x)?[0-9a-f]* */, "", top)
            sub(/ *@[^@]*$/, "", top)
            sub(/\(.*\//, "(", top)
        }
    }
    next
}
{ endStack() }
FNR == 1 { endReport() }
END { endReport() }
