#include "support/Report.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace {

constexpr const char* judgementNames[] = {"value", "ratio", "difference"};

const char* nameOf(Judgement judgement) {
    return judgementNames[static_cast<size_t>(judgement)];
}

// Of the characters that JSON escapes, texts of this program have only these two.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\')
            result += '\\';
        result += character;
    }
    return result + '"';
}

std::string number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string json(const Figures& figures) {
    return "{\"shortest\": " + number(figures.shortest) + ", \"median\": " + number(figures.median) +
           ", \"percentile99\": " + number(figures.percentile99) +
           ", \"longest\": " + number(figures.longest) + "}";
}

std::string json(const ReportRow& row) {
    std::string text = "{\"name\": " + quoted(row.name) + ", \"unit\": " + quoted(row.unit) +
                       ", \"ours\": " + json(row.ours);
    if (row.bare)
        text += ", \"bare\": " + json(*row.bare);
    text += std::string(", \"judged\": {\"by\": \"") + nameOf(row.judgement) +
            "\", \"figure\": " + number(row.judged());
    if (row.goal)
        text += ", \"goal\": " + number(*row.goal) + ", \"met\": " + (row.meetsGoal() ? "true" : "false");
    return text + "}}";
}

void printColumn(double value) {
    std::printf(" %8.*f", value < 1000 ? 2 : 0, value);
}

void printFigures(const Figures& figures) {
    if (figures.isSingle()) {
        std::printf(" %8s", "");
        printColumn(figures.median);
        std::printf(" %17s", "");
        return;
    }
    for (const double value : {figures.shortest, figures.median, figures.percentile99, figures.longest})
        printColumn(value);
}

void printRow(const ReportRow& row) {
    std::printf("  %-32s %4s", row.name.c_str(), row.unit.c_str());
    printFigures(row.ours);
    if (row.bare)
        printFigures(*row.bare);
    else
        std::printf("%36s", "");
    switch (row.judgement) {
    case Judgement::value:
        std::printf(" %8s", "");
        break;
    case Judgement::ratio:
        std::printf(" x%7.3f", row.judged());
        break;
    case Judgement::difference:
        std::printf(" %+8.3f", row.judged());
        break;
    }
    if (row.goal)
        std::printf(" %6.2f %s", *row.goal, row.meetsGoal() ? "met" : "missed");
    std::printf("\n");
}

} // namespace

double ReportRow::judged() const {
    switch (judgement) {
    case Judgement::ratio:
        return ours.median / bare.value().median;
    case Judgement::difference:
        return ours.median - bare.value().median;
    default:
        return ours.median;
    }
}

void Report::print() const {
    std::printf("%-34s %4s %8s %8s %8s %8s %8s %8s %8s %8s %8s %6s\n", name.c_str(), "", "least", "median",
                "99th %", "longest", "bare:", "median", "99th %", "longest", "beyond", "goal");
    for (const ReportRow& row : rows)
        printRow(row);
    for (const std::string& note : notes)
        std::printf("  (%s)\n", note.c_str());
    std::printf("\n");
}

void Report::writeJson(const std::string& path) const {
    std::ofstream file(path);
    file << "{\n\"notes\": [";
    const char* separator = "";
    for (const std::string& note : notes) {
        file << separator << "\n  " << quoted(note);
        separator = ",";
    }
    file << "],\n\"rows\": [";
    separator = "";
    for (const ReportRow& row : rows) {
        file << separator << "\n  " << json(row);
        separator = ",";
    }
    file << "]\n}\n";
    if (!file.flush())
        throw std::runtime_error("Could not write " + path);
}
