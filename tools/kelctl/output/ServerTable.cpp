#include "tools/kelctl/output/ServerTable.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Quarlen::Ctl {

namespace {

constexpr const char* gap = "  ";

/// A byte of UTF-8 that goes on with the letter before it.
bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::size_t letterCount(const std::string& text) {
    return text.size() -
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

std::string filledUp(std::string text, std::size_t width) {
    const std::size_t letters = letterCount(text);
    return letters < width ? text.append(width - letters, ' ') : text;
}

} // namespace

std::string firstLetters(const std::string& text, std::size_t count) {
    std::size_t letters = 0;
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        letters += isContinuation(text[end]) ? 0 : 1;
        if (letters > count) {
            break;
        }
    }
    return text.substr(0, end);
}

ServerTable::ServerTable(const std::vector<std::string>& names) : changes(names.size(), 0) {
    for (const std::string& name : names) {
        rows.push_back({.name = printable(name)});
        nameWidth = std::max(nameWidth, letterCount(rows.back().name));
    }
}

void ServerTable::change(std::size_t index, Row row) {
    rows.at(index) = std::move(row);
    changes.at(index) = ++changeCount;
}

std::string ServerTable::line(const Output& out, std::size_t index, std::size_t columns) const {
    const Row& row = rows.at(index);
    const std::string front =
        filledUp(row.name, nameWidth) + gap + (row.time.empty() ? "" : row.time + gap);
    const std::size_t used = std::min(letterCount(front), columns);
    return firstLetters(front, columns) +
           out.coloured(row.colour, firstLetters(row.text, columns - used));
}

std::vector<std::size_t> ServerTable::shown(std::size_t room) const {
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (order.size() > room) {
        std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
            return changes[left] > changes[right];
        });
        order.resize(room);
        std::sort(order.begin(), order.end());
    }
    return order;
}

std::vector<std::string> ServerTable::lines(const Output& out, std::size_t room,
                                            std::size_t columns) const {
    const bool allFit = rows.size() <= room;
    std::vector<std::string> table;
    for (const std::size_t index : shown(allFit || room == 0 ? room : room - 1)) {
        table.push_back(line(out, index, columns));
    }
    if (!allFit && room > 0) {
        table.push_back(firstLetters("and " + std::to_string(rows.size() - table.size()) +
                                         " more that changed earlier",
                                     columns));
    }
    return table;
}

} // namespace Quarlen::Ctl
