#pragma once

#include "support/Figures.h"

#include <optional>
#include <string>
#include <vector>

/// What of a row is held against its goal.
enum class Judgement {
    /// Our median itself.
    value,
    /// Our median by the bare one.
    ratio,
    /// Our median less the bare one.
    difference,
};

/// One measurement, and the bare thing that was measured beside it.
struct ReportRow {
    std::string name;
    std::string unit;
    Figures ours;
    std::optional<Figures> bare;
    Judgement judgement = Judgement::value;
    /// The most that is hoped for.
    std::optional<double> goal;

    /// What the judgement looks at.
    double judged() const;
    bool meetsGoal() const { return !goal || judged() <= *goal; }
};

/// The outcome of one benchmark program: a table for people and JSON for programs. A missed goal is shown,
/// and fails nothing: times depend on the machine and on who else uses it.
class Report {
public:
    explicit Report(const std::string& name) : name(name) {}

    void add(const ReportRow& row) { rows.push_back(row); }
    /// A line on the circumstances of the measurement.
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
