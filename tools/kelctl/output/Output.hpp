#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/value.hpp>

namespace Quarlen::Ctl {

enum class Colour { None, Good, Bad, Note, Quiet };

/// What a command says: lines for people, or one JSON value for machines. Texts are UTF-8; control
/// characters in what a server says do not reach the terminal. What cannot be written ends the
/// command with a `Failure` (Refused), without a text where only the reader has gone.
class Output {
public:
    struct Style {
        bool json = false;
        /// Somebody looks at it: bars and colours make sense.
        bool isTerminal = false;
        bool coloured = false;
    };

    /// The stream must outlive it.
    Output(std::ostream& stream, Style style) : stream(stream), style(style) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    [[nodiscard]] bool isJson() const { return style.json; }
    [[nodiscard]] bool isTerminal() const { return style.isTerminal; }

    /// For whoever asked for this format.
    void text(std::string_view text);
    /// For people only.
    void line(std::string_view text);
    /// For machines only: one line of JSON.
    void value(const boost::json::value& value);
    /// The text in a colour where colours are wanted.
    [[nodiscard]] std::string coloured(Colour colour, const std::string& text) const;
    /// Text that stays on its line until the next one replaces it. On a terminal only.
    void replaceLine(std::string_view text);
    /// The same for several lines. Each must fit into a row of the terminal.
    void replaceLines(const std::vector<std::string>& lines);

private:
    void flush();
    void clearReplaceable();

    std::ostream& stream;
    Style style;
    /// Rows above the cursor, and its own, that the next text replaces.
    std::size_t replaceableRows = 0;
    bool hasReplaceable = false;
};

/// Valid UTF-8 without controls, so that a server cannot steer the terminal.
std::string printable(std::string_view text);
/// Of a value that should be a text; empty for another one.
std::string printable(const boost::json::value& text);

} // namespace Quarlen::Ctl
