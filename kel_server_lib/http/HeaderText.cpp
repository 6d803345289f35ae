#include "kel_server_lib/http/HeaderText.hpp"

#include <algorithm>

#include <httplib.h>

namespace Quarlen::Rest {

namespace {

constexpr char lowerCase(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::string_view trimmed(std::string_view text) {
    constexpr const char* spaces = " \t";
    const std::size_t begin = text.find_first_not_of(spaces);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(spaces) - begin + 1);
}

bool listHolds(std::string_view list, std::string_view element) {
    for (;;) {
        const std::size_t comma = list.find(',');
        if (isSameText(trimmed(list.substr(0, comma)), element)) {
            return true;
        }
        if (comma == std::string_view::npos) {
            return false;
        }
        list.remove_prefix(comma + 1);
    }
}

} // namespace

bool isSameText(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return lowerCase(one) == lowerCase(other); });
}

bool hasElement(const httplib::Request& request, const std::string& header,
                std::string_view element) {
    const auto [begin, end] = request.headers.equal_range(header);
    return std::any_of(begin, end,
                       [&](const auto& field) { return listHolds(field.second, element); });
}

} // namespace Quarlen::Rest
