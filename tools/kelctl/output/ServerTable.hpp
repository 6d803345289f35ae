#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/kelctl/output/Output.hpp"

namespace Quarlen::Ctl {

/// One line for each server of a line of stations. Where the terminal has too few rows, those that
/// changed last are shown and the others are counted.
class ServerTable {
public:
    struct Row {
        std::string name;
        std::string time{};
        std::string text{"…"};
        Colour colour = Colour::Quiet;
    };

    explicit ServerTable(const std::vector<std::string>& names);

    void change(std::size_t index, Row row);
    /// The lines of the table, none longer than `columns` letters, at most `rows` of them.
    [[nodiscard]] std::vector<std::string> lines(const Output& out, std::size_t rows,
                                                 std::size_t columns) const;
    [[nodiscard]] std::string line(const Output& out, std::size_t index, std::size_t columns) const;

private:
    [[nodiscard]] std::vector<std::size_t> shown(std::size_t rows) const;

    std::vector<Row> rows;
    /// Counts the changes, so that the latest can be told.
    std::vector<std::size_t> changes;
    std::size_t changeCount = 0;
    std::size_t nameWidth = 0;
};

/// The first letters of a text in UTF-8, not of its bytes.
std::string firstLetters(const std::string& text, std::size_t count);

} // namespace Quarlen::Ctl
