#!/bin/bash
# What JudgeReports.awk makes of reports: JudgeReportsTest.sh JudgeReports.awk. If this fails, an error of the host counts
# as a plug-in's own, or a plug-in's as the host's.
set -euo pipefail

judge=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failed=0

# expect NAME VERDICT...: judges the report on the standard input.
expect() {
    local name=$1 verdicts
    shift
    cat >"$directory/report"
    verdicts=$(awk -v plugin=/real/a.so -v link=/link/a.vst3 -v fetched=/fetched -v build=/build -f "$judge" \
        "$directory/report")
    if [ "$(sed 's/: .*//' <<<"$verdicts" | xargs)" != "$*" ]; then
        printf '%s: %s\n' "$name" "$verdicts"
        failed=1
    fi
}

expect "leaks" plug-in plug-in host host plug-in host <<'END'
=================================================================
==7==ERROR: LeakSanitizer: detected memory leaks

Direct leak of 4 byte(s) in 1 object(s) allocated from:
    #0 0x10 in operator new(unsigned int) @/lib32/libasan.so.8
    #1 0x20  (/link/a.vst3+0xc930) @/link/a.vst3
    #2 0x30 in Vst3PluginInstance::makeView() ../vst3/Vst3Editor.cpp:56 @/build/plugin-host

Direct leak of 4 byte(s) in 1 object(s) allocated from:
    #0 0x10 in malloc @/lib32/libasan.so.8
    #1 0x20 in g_malloc @/fetched/root/usr/lib/libglib.so
    #2 0x20 in open (/fetched/root/usr/lib/vst/b.so+0x1) @/fetched/root/usr/lib/vst/b.so
    #3 0x30 in PluginHost::run() ../host/PluginHost.cpp:70 @/build/plugin-host

Direct leak of 9 byte(s) in 1 object(s) allocated from:
    #0 0x10 in malloc @/lib32/libasan.so.8
    #1 0x20 in xcb_wait_for_reply @/fetched/root/usr/lib/libxcb.so.1
    #2 0x30 in XConnection::open() ../window/XConnection.cpp:7 @/build/plugin-host

Indirect leak of 9 byte(s) in 1 object(s) allocated from:
    #0 0x10 in operator new(unsigned int) @/lib32/libasan.so.8
    #1 0x30 in Vst3Host::createInstance() ../vst3/Vst3Host.cpp:7 @/build/plugin-host
    #2 0x20  (/real/a.so+0xc930) @/real/a.so

Direct leak of 9 byte(s) in 1 object(s) allocated from:
    #0 0x10 in malloc @/lib32/libasan.so.8
    #1 0x20 in own_thread @/fetched/root/usr/lib/libglib.so

Direct leak of 9 byte(s) in 1 object(s) allocated from:
    #0 0x10 in malloc @/lib32/libasan.so.8
    #1 0x20 in own_thread @/usr/lib/libelse.so

SUMMARY: AddressSanitizer: 35 byte(s) leaked in 6 allocation(s).
END
expect "leaks by a sanitizer within the program" plug-in host host <<'END'
==7==ERROR: LeakSanitizer: detected memory leaks

Direct leak of 4 byte(s) in 1 object(s) allocated from:
    #0 0x10 in operator new(unsigned int) (/build/plugin-host+0x1a) (BuildId: 0f) @/build/plugin-host
    #1 0x20  (/link/a.vst3+0xc930) @/link/a.vst3
    #2 0x30 in Vst3PluginInstance::makeView() ../vst3/Vst3Editor.cpp:56:3 @/build/plugin-host

Direct leak of 4 byte(s) in 1 object(s) allocated from:
    #0 0x10 in malloc (/build/plugin-host+0x1a) (BuildId: 0f) @/build/plugin-host
    #1 0x30 in Vst3PluginInstance::makeView() ../vst3/Vst3Editor.cpp:56:3 @/build/plugin-host
    #2 0x20  (/link/a.vst3+0xc930) @/link/a.vst3

Direct leak of 4 byte(s) in 1 object(s) allocated from:
    #0 0x10  (/build/plugin-host+0x1a) @/build/plugin-host
    #1 0x30  (/build/plugin-host+0x2a) @/build/plugin-host
    #2 0x20  (/link/a.vst3+0xc930) @/link/a.vst3
END

race() {
    printf '==================\nWARNING: ThreadSanitizer: data race (pid=7)\n  Write of size 8 at 0x7b by main thread:\n'
    printf '    #0 0x10 in memcpy @/lib/libtsan.so.2\n    #1 0x20 in f @%s\n' "$1"
    printf '    #2 0x30 in PluginHost::run() @/build/plugin-host\n\n  Previous read of size 8 at 0x7b by thread T1:\n'
    printf '    %s\n\n  Location is heap block of size 8 allocated by main thread:\n' "$2"
    printf '    #0 0x10 in malloc @/lib/libtsan.so.2\n    #1 0x30 in g @/build/plugin-host\n\n'
    printf 'SUMMARY: ThreadSanitizer: data race\n==================\nThreadSanitizer: reported 1 warnings\n'
}

expect "a race within a plug-in" plug-in < <(race /real/a.so '#0 0x40 in h @/real/a.so')
expect "a race of a plug-in with the host" host < <(race /real/a.so '#0 0x40 in h @/build/plugin-host')
expect "a race of the host with a plug-in" host < <(race /build/plugin-host '#0 0x40 in h @/real/a.so')
expect "a race with nobody knows whom" host < <(race /real/a.so '[failed to restore the stack]')

expect "an overflow in a plug-in" host <<'END'
=================================================================
==7==ERROR: AddressSanitizer: heap-buffer-overflow on address 0xf1 at pc 0x1 bp 0x2 sp 0x3
WRITE of size 4 at 0xf1 thread T1
    #0 0x10 in memcpy @/lib32/libasan.so.8
    #1 0x20 in f @/real/a.so

0xf1 is located 0 bytes to the right of 8-byte region [0xe9,0xf1)
SUMMARY: AddressSanitizer: heap-buffer-overflow
END
expect "an allocation that is refused" <<<'==7==WARNING: AddressSanitizer failed to allocate 0x7fffffff bytes'
expect "a leak checker that can't work" host <<<'==7==LeakSanitizer has encountered a fatal error.'
[ $failed = 0 ] && echo passed
