// The compiled-in message catalog, read from the resource text on first use.
//
// Resource format: "[catalog]" opens a catalog, "Key = text" gives one key's
// text, lines that are blank or start with "#" are skipped. Texts are UTF-8.
#include <kelvor/core/exception.hpp>

#include <stdexcept>
#include <string>
#include <unordered_map>

#include <kelvor/core/utf.hpp>

namespace klf {
namespace detail {
// Generated at build time from resources/messages.txt.
extern const std::string_view message_resource;
}  // namespace detail

namespace {

std::string_view trim(std::string_view s) {
    const auto first = s.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

std::string index_key(std::string_view catalog, std::string_view key) {
    std::string k(catalog);
    k += '\n';
    k += key;
    return k;
}

struct Catalog {
    std::vector<CatalogEntry> entries;
    std::unordered_map<std::string, std::size_t> index;
};

Catalog parse(std::string_view resource) {
    Catalog c;
    std::string catalog;
    std::size_t line_no = 0;
    while (!resource.empty()) {
        const auto eol = resource.find('\n');
        const std::string_view line = trim(resource.substr(0, eol));
        resource = eol == std::string_view::npos ? std::string_view{} : resource.substr(eol + 1);
        ++line_no;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[' && line.back() == ']') {
            catalog = trim(line.substr(1, line.size() - 2));
            continue;
        }
        const auto eq = line.find('=');
        const std::string_view key = eq == std::string_view::npos ? "" : trim(line.substr(0, eq));
        // The resource is compiled in, so a broken line is a build defect:
        // fail loudly on first use rather than show wrong texts.
        if (catalog.empty() || key.empty()) {
            throw std::logic_error("message resource, line " + std::to_string(line_no) +
                                   ": expected \"[catalog]\" or \"Key = text\"");
        }
        if (!c.index.emplace(index_key(catalog, key), c.entries.size()).second) {
            throw std::logic_error("message resource, line " + std::to_string(line_no) +
                                   ": duplicate key " + std::string(key));
        }
        c.entries.push_back(
            {catalog, std::string(key), utf8_string_to_ustring(trim(line.substr(eq + 1)))});
    }
    return c;
}

const Catalog& catalog() {
    // Never destroyed, so that messages can still be formatted while other
    // statics are destroyed.
    static const Catalog* const c = new Catalog(parse(detail::message_resource));
    return *c;
}

}  // namespace

const std::vector<CatalogEntry>& catalog_entries() {
    return catalog().entries;
}

const ustring* find_catalog_text(std::string_view catalog_name, std::string_view key) {
    const Catalog& c = catalog();
    const auto it = c.index.find(index_key(catalog_name, key));
    return it == c.index.end() ? nullptr : &c.entries[it->second].text;
}

}  // namespace klf
