#pragma once

#include "support/Figures.h"

#include <optional>
#include <string>
#include <vector>

/// The value of a row that is compared with its goal.
enum class Judgement {
    /// Our median itself.
    value,
    /// Our median by the bare one.
    ratio,
    /// Our median less the bare one.
    difference,
};

/// One measurement, and that of the bare program beside it.
struct ReportRow {
    std::string name;
    std::string unit;
    Figures ours;
    std::optional<Figures> bare;
    Judgement judgement = Judgement::value;
    /// The greatest value that meets the goal.
    std::optional<double> goal;

    /// What is compared with the goal.
    double judged() const;
    bool meetsGoal() const { return !goal || judged() <= *goal; }
};

/// The outcome of one benchmark program: a table for people and JSON for programs. A missed goal is shown and
/// isn't a failure: times depend on the machine and its load.
class Report {
public:
    explicit Report(const std::string& name) : name(name) {}

    void add(const ReportRow& row) { rows.push_back(row); }
    /// A line about the conditions of the measurement.
    void addNote(const std::string& note) { notes.push_back(note); }

    /// Prints the table to the standard output.
    void print() const;
    /// Writes `{"notes": [...], "rows": [...]}`. Throws `std::runtime_error`.
    void writeJson(const std::string& path) const;

private:
    std::string name;
    std::vector<std::string> notes;
    std::vector<ReportRow> rows;
};
