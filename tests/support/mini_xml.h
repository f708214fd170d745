// A small XML reader for the tests of generated documents (the SVG pages of the
// renderer): it checks that a document is well-formed and gives its element tree.
//
// It handles what such documents hold: an XML declaration and other processing
// instructions, comments, a DOCTYPE without an internal subset, elements with quoted
// attributes, character data with the five predefined entities and numeric character
// references, and CDATA sections. It checks that tags nest and match, that an element
// has no attribute twice, that names are well formed, that '<' and a stray '&' do not
// stand in text or attribute values, that there is exactly one root element and that
// the text is valid UTF-8.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace xml {

struct Element {
    std::string name;
    std::map<std::string, std::string> attributes; // values with references resolved
    std::vector<std::unique_ptr<Element>> children;
    std::string text; // the character data directly inside, references resolved

    // The attribute's value, or "" when absent.
    std::string Attr(const std::string &key) const;
    bool Has(const std::string &key) const { return attributes.count(key) != 0; }
    // Children with this name (all of them for "").
    std::vector<const Element *> Children(const std::string &name = "") const;
    // Every element below (not this one) with this name, in document order.
    std::vector<const Element *> Descendants(const std::string &name) const;
};

struct Document {
    std::unique_ptr<Element> root;
    std::string error; // empty when the document is well-formed
    bool ok() const { return error.empty() && root != nullptr; }
};

Document Parse(const std::string &text);

} // namespace xml
} // namespace velko_test
