#pragma once

#include <string>
#include <string_view>

namespace Quarlen::Kel_cpp {

/// Builds an HTML document that is well-formed XML, too. Everything but tags, classes and
/// attributes, which come from the program itself, is escaped.
class HtmlWriter {
public:
    /// An open element; closes it when it goes out of scope.
    class Element {
    public:
        Element(const Element&) = delete;
        Element& operator=(const Element&) = delete;
        ~Element();

    private:
        friend class HtmlWriter;
        Element(HtmlWriter& writer, std::string_view tag) : writer(writer), tag(tag) {}

        HtmlWriter& writer;
        std::string_view tag;
    };

    /// `tag` must be a literal: the element refers to it until it is closed.
    [[nodiscard]] Element open(std::string_view tag, std::string_view cssClass = {});
    /// `attributes` as they stand in the document, for example `id="unit-1"`; values from outside
    /// of the program must be escaped with `escape`.
    [[nodiscard]] Element openWith(std::string_view tag, std::string_view attributes);

    /// Text of a vehicle, project or script. Characters that XML forbids and invalid code units
    /// appear as U+FFFD.
    void text(std::wstring_view content);
    /// The program's own text, UTF-8.
    void text(std::string_view content);
    /// Markup that is copied unchanged.
    void markup(std::string_view content);

    /// Writes an element that contains only text.
    void element(std::string_view tag, std::string_view cssClass, std::wstring_view content);
    void element(std::string_view tag, std::string_view cssClass, std::string_view content);

    [[nodiscard]] static std::string escape(std::wstring_view content);
    [[nodiscard]] static std::string escape(std::string_view content);

    /// The document; the writer is empty afterwards. All elements must be closed.
    [[nodiscard]] std::string take();

private:
    std::string document;
};

} // namespace Quarlen::Kel_cpp
