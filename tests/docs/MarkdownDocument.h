#pragma once

#include <map>
#include <string>
#include <vector>

/// A table of a document; its cells are without backquotes and outer spaces.
struct DocumentTable {
    using Row = std::vector<std::string>;

    /// The place of a column. Throws `std::runtime_error`.
    size_t column(const std::string& name) const;
    /// The rows with these columns only.
    std::vector<Row> select(const std::vector<std::string>& columns) const;

    /// The heading that it stands under.
    std::string heading;
    Row header;
    std::vector<Row> rows;
};

/// The tables and the hexadecimal dumps of a document of the tree. A dump is a fenced block that opens with
/// "```hex" and a name; each line is bytes, and a remark behind two spaces.
class MarkdownDocument {
public:
    /// `name` is a path in the tree. Throws `std::runtime_error`.
    explicit MarkdownDocument(const std::string& name);

    /// The first table under a heading that has `firstColumn`. Throws `std::runtime_error`.
    const DocumentTable& table(const std::string& heading, const std::string& firstColumn) const;
    bool hasTable(const std::string& heading, const std::string& firstColumn) const;
    /// The bytes of a dump. Throws `std::runtime_error`.
    std::string dump(const std::string& dumpName) const;
    const std::map<std::string, std::string>& getDumps() const { return dumps; }
    const std::string& getText() const { return text; }

private:
    const DocumentTable* findTable(const std::string& heading, const std::string& firstColumn) const;
    void readDumpLine(const std::string& line, std::string& bytes) const;

    std::string name;
    std::string text;
    std::vector<DocumentTable> tables;
    std::map<std::string, std::string> dumps;
};

/// What is wrong with a table, a sentence for each row: rows that the code has and the table lacks, that say
/// something else, that the code knows nothing of, or that stand in another order.
std::vector<std::string> complaintsAbout(const DocumentTable& table, const std::vector<std::string>& columns,
                                         const std::vector<DocumentTable::Row>& expected);

/// `complaintsAbout` as failures of the running test.
void expectRows(const DocumentTable& table, const std::vector<std::string>& columns,
                const std::vector<DocumentTable::Row>& expected);

/// Bytes as hexadecimal pairs.
std::string toHex(const std::string& bytes);
