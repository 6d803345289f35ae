#include "tests/kel_cpp/report/ParsedPage.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {

ParsedPage::ParsedPage(const std::string& page) {
    const pugi::xml_parse_result result =
        document.load_buffer(page.data(), page.size(), pugi::parse_full | pugi::parse_ws_pcdata);
    EXPECT_TRUE(result) << result.description() << " at " << result.offset << " of\n" << page;
}

std::string ParsedPage::text(const char* xpath) const {
    const pugi::xpath_node match = document.select_node(xpath);
    return match ? pugi::xpath_query("string(.)").evaluate_string(match) : "(none)";
}

std::vector<std::string> ParsedPage::texts(const char* xpath) const {
    std::vector<std::string> found;
    for (const pugi::xpath_node& match : document.select_nodes(xpath)) {
        found.push_back(pugi::xpath_query("string(.)").evaluate_string(match));
    }
    return found;
}

std::size_t ParsedPage::count(const char* xpath) const {
    return document.select_nodes(xpath).size();
}

} // namespace Quarlen::Kel_cpp::Tests
