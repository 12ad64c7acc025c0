#include "MarkdownDocument.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>

namespace {

using Row = DocumentTable::Row;

constexpr const char* dumpFence = "```hex ";

std::string trimmed(const std::string& text) {
    const size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

Row splitRow(const std::string& line) {
    Row cells;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        std::erase(cell, '`');
        cells.push_back(trimmed(cell));
    }
    return cells;
}

bool isRule(const Row& row) {
    return std::all_of(row.begin(), row.end(), [](const std::string& cell) {
        return !cell.empty() && cell.find_first_not_of("-:") == std::string::npos;
    });
}

std::string describe(const Row& row) {
    std::string text;
    for (const std::string& cell : row)
        text += (text.empty() ? "'" : ", '") + cell + "'";
    return text;
}

bool contains(const std::vector<Row>& rows, const Row& row) {
    return std::find(rows.begin(), rows.end(), row) != rows.end();
}

} // namespace

size_t DocumentTable::column(const std::string& name) const {
    const auto found = std::find(header.begin(), header.end(), name);
    if (found == header.end())
        throw std::runtime_error("The table under \"" + heading + "\" has no column \"" + name + "\"");
    return static_cast<size_t>(found - header.begin());
}

std::vector<Row> DocumentTable::select(const std::vector<std::string>& columns) const {
    std::vector<Row> selected;
    for (const Row& row : rows) {
        Row cells;
        for (const std::string& name : columns)
            cells.push_back(column(name) < row.size() ? row[column(name)] : "");
        selected.push_back(cells);
    }
    return selected;
}

MarkdownDocument::MarkdownDocument(const std::string& name) : name(name) {
    std::ifstream file(std::string(SOURCE_DIRECTORY "/") + name);
    if (!file)
        throw std::runtime_error(name + " can't be opened");
    std::string heading;
    std::string* openDump = nullptr;
    bool fenced = false;
    bool inTable = false;
    for (std::string line; std::getline(file, line);) {
        text += line + "\n";
        const bool isRow = !fenced && line.starts_with("|");
        if (line.starts_with("```")) {
            openDump = nullptr;
            fenced = !fenced;
            if (line.starts_with(dumpFence))
                openDump = &dumps[line.substr(std::string(dumpFence).size())];
        } else if (openDump != nullptr) {
            readDumpLine(line, *openDump);
        } else if (!fenced && line.starts_with("#")) {
            heading = trimmed(line.substr(line.find_first_not_of('#')));
        } else if (isRow && !inTable) {
            tables.push_back({heading, splitRow(line), {}});
        } else if (isRow && !isRule(splitRow(line))) {
            tables.back().rows.push_back(splitRow(line));
        }
        inTable = isRow;
    }
}

void MarkdownDocument::readDumpLine(const std::string& line, std::string& bytes) const {
    std::istringstream pairs(line.substr(0, line.find("  ")));
    for (std::string pair; pairs >> pair;) {
        if (pair.size() != 2 || !std::isxdigit(static_cast<unsigned char>(pair[0])) ||
            !std::isxdigit(static_cast<unsigned char>(pair[1])))
            throw std::runtime_error(name + " has a dump with the line \"" + line + "\"");
        bytes.push_back(static_cast<char>(std::stoi(pair, nullptr, 16)));
    }
}

const DocumentTable* MarkdownDocument::findTable(const std::string& heading,
                                                 const std::string& firstColumn) const {
    const auto found = std::find_if(tables.begin(), tables.end(), [&](const DocumentTable& table) {
        return table.heading == heading && table.header.front() == firstColumn;
    });
    return found != tables.end() ? &*found : nullptr;
}

const DocumentTable& MarkdownDocument::table(const std::string& heading,
                                             const std::string& firstColumn) const {
    const DocumentTable* found = findTable(heading, firstColumn);
    if (found == nullptr)
        throw std::runtime_error(name + " has no table under \"" + heading + "\" that begins with \"" +
                                 firstColumn + "\"");
    return *found;
}

bool MarkdownDocument::hasTable(const std::string& heading, const std::string& firstColumn) const {
    return findTable(heading, firstColumn) != nullptr;
}

std::string MarkdownDocument::dump(const std::string& dumpName) const {
    const auto found = dumps.find(dumpName);
    if (found == dumps.end())
        throw std::runtime_error(name + " has no dump \"" + dumpName + "\"");
    return found->second;
}

std::vector<std::string> complaintsAbout(const DocumentTable& table, const std::vector<std::string>& columns,
                                         const std::vector<Row>& expected) {
    const std::string where = "The table under \"" + table.heading + "\" ";
    const std::vector<Row> rows = table.select(columns);
    std::vector<std::string> complaints;
    std::vector<Row> explained;
    for (const Row& row : expected) {
        if (contains(rows, row))
            continue;
        const auto other = std::find_if(rows.begin(), rows.end(), [&](const Row& candidate) {
            return candidate.front() == row.front() && !contains(expected, candidate);
        });
        if (other != rows.end()) {
            complaints.push_back(where + "has the row " + describe(*other) + " where the code has " +
                                 describe(row));
            explained.push_back(*other);
        } else {
            complaints.push_back(where + "lacks the row " + describe(row));
        }
    }
    for (const Row& row : rows) {
        if (!contains(expected, row) && !contains(explained, row))
            complaints.push_back(where + "has the row " + describe(row) + " that the code knows nothing of");
    }
    if (complaints.empty() && rows != expected) {
        const size_t place = static_cast<size_t>(
            std::mismatch(rows.begin(), rows.end(), expected.begin(), expected.end()).first - rows.begin());
        complaints.push_back(place < rows.size()
                                 ? where + "has the row " + describe(rows[place]) + " in the wrong place"
                                 : where + "says a row too seldom");
    }
    return complaints;
}

void expectRows(const DocumentTable& table, const std::vector<std::string>& columns,
                const std::vector<Row>& expected) {
    for (const std::string& complaint : complaintsAbout(table, columns, expected))
        ADD_FAILURE() << complaint;
}

std::string toHex(const std::string& bytes) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        if (!text.empty())
            text += ' ';
        text += digits[static_cast<uint8_t>(byte) >> 4];
        text += digits[static_cast<uint8_t>(byte) & 15];
    }
    return text;
}
