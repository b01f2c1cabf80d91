// SPDX-License-Identifier: Apache-2.0
#include "path.h"

#include <cstring>

namespace xmlutil_edit {

namespace {

class path_parser {
public:
    explicit path_parser(const std::string& text) : fText(text) {}

    path parse()
    {
        path p;
        p.text = fText;
        if (peek('/')) {
            ++fAt;
        }
        for (;;) {
            skip_space();
            if (peek('@')) {
                ++fAt;
                p.target = path::select_attribute;
                p.attribute = name("an attribute name after '@'");
                skip_space();
                if (fAt != fText.size()) {
                    fail("nothing may follow the attribute");
                }
                break;
            }
            if (fText.compare(fAt, 6, "text()") == 0) {
                fAt += 6;
                p.target = path::select_text;
                skip_space();
                if (fAt != fText.size()) {
                    fail("nothing may follow text()");
                }
                break;
            }
            step s;
            if (peek('*')) {
                ++fAt;
                s.name = "*";
            } else {
                s.name = name("an element name, '*', '@NAME' or 'text()'");
            }
            skip_space();
            while (peek('[')) {
                ++fAt;
                s.predicates.push_back(parse_predicate());
                skip_space();
            }
            p.steps.push_back(s);
            if (fAt == fText.size()) {
                break;
            }
            if (!peek('/')) {
                fail(std::string("unexpected '") + fText[fAt] + "'");
            }
            ++fAt;
        }
        if (p.steps.empty()) {
            fail("the first step names the root element");
        }
        return p;
    }

private:
    [[noreturn]] void fail(const std::string& why) const
    {
        throw failure(2, "invalid PATH '" + fText + "': " + why + " at offset " + std::to_string(fAt));
    }

    bool peek(char c) const { return fAt < fText.size() && fText[fAt] == c; }

    void skip_space()
    {
        while (fAt < fText.size() && std::strchr(" \t\n\r", fText[fAt]) != nullptr && fText[fAt] != '\0') {
            ++fAt;
        }
    }

    void expect(char c)
    {
        skip_space();
        if (!peek(c)) {
            fail(std::string("expected '") + c + "'");
        }
        ++fAt;
    }

    // An XML name (a prefix and a colon allowed): anything but the path's
    // own punctuation and white space; the file's names decide the rest.
    std::string name(const char* what)
    {
        const std::size_t begin = fAt;
        while (fAt < fText.size() && std::strchr("/[]@=()'\",*| \t\n\r", fText[fAt]) == nullptr) {
            ++fAt;
        }
        const std::string n = fText.substr(begin, fAt - begin);
        if (n.empty() || n.front() == ':' || n.back() == ':' || n.find_first_of("0123456789.-") == 0) {
            fAt = begin;
            fail(std::string("expected ") + what);
        }
        return n;
    }

    std::string literal()
    {
        skip_space();
        if (!peek('\'') && !peek('"')) {
            fail("expected a quoted string");
        }
        const char quote = fText[fAt];
        const std::size_t end = fText.find(quote, fAt + 1);
        if (end == std::string::npos) {
            fail("unterminated string");
        }
        std::string value = fText.substr(fAt + 1, end - fAt - 1);
        fAt = end + 1;
        return value;
    }

    void target(predicate& pred)
    {
        skip_space();
        if (peek('@')) {
            ++fAt;
            pred.target = predicate::attribute;
            pred.name = name("an attribute name after '@'");
        } else if (peek('.')) {
            ++fAt;
            pred.target = predicate::self;
        } else {
            pred.target = predicate::child;
            pred.name = name("'@NAME', '.' or a child element name");
        }
    }

    predicate parse_predicate()
    {
        predicate pred;
        skip_space();
        if (fAt < fText.size() && fText[fAt] >= '0' && fText[fAt] <= '9') {
            const std::size_t begin = fAt;
            while (fAt < fText.size() && fText[fAt] >= '0' && fText[fAt] <= '9') {
                ++fAt;
            }
            if (fAt - begin > 9) {
                fail("position too large");
            }
            pred.kind = predicate::position;
            pred.index = std::stol(fText.substr(begin, fAt - begin));
            if (pred.index < 1) {
                fail("positions count from 1");
            }
        } else if (fText.compare(fAt, 6, "last()") == 0) {
            fAt += 6;
            pred.kind = predicate::last;
        } else if (fText.compare(fAt, 9, "contains(") == 0) {
            fAt += 9;
            pred.kind = predicate::contains;
            target(pred);
            expect(',');
            pred.value = literal();
            expect(')');
        } else {
            pred.kind = predicate::equals;
            target(pred);
            expect('=');
            pred.value = literal();
        }
        expect(']');
        return pred;
    }

    const std::string& fText;
    std::size_t fAt = 0;
};

std::string local_part(const std::string& qname, std::string& prefix)
{
    const std::size_t colon = qname.find(':');
    if (colon == std::string::npos) {
        prefix.clear();
        return qname;
    }
    prefix = qname.substr(0, colon);
    return qname.substr(colon + 1);
}

} // namespace

path parse_path(const std::string& text)
{
    return path_parser(text).parse();
}

bool path_matcher::name_matches(std::uint32_t e, const std::string& qname, const std::string& name) const
{
    std::string prefix;
    const std::string local = local_part(name, prefix);
    const auto bound = prefix.empty() ? fNs.end() : fNs.find(prefix);
    if (bound == fNs.end()) {
        return qname == name;
    }
    std::string qprefix;
    const std::string qlocal = local_part(qname, qprefix);
    std::string uri;
    return qlocal == local && fDoc.namespace_uri(e, qprefix, uri) && uri == bound->second;
}

bool path_matcher::element_named(std::uint32_t e, const std::string& name) const
{
    return name == "*" || name_matches(e, fDoc.name(e), name);
}

const attribute_span* path_matcher::attribute(std::uint32_t e, const std::string& name) const
{
    std::string prefix;
    local_part(name, prefix);
    if (prefix.empty() || fNs.find(prefix) == fNs.end()) {
        return fDoc.find_attribute(e, name);
    }
    const element_span& span = fDoc.element(e);
    const attribute_span* all = fDoc.attributes(e);
    for (std::uint32_t i = 0; i < span.attributes_count; ++i) {
        const std::string qname = fDoc.attribute_name(all[i]);
        std::string qprefix;
        local_part(qname, qprefix);
        // Only a prefixed attribute is in a namespace.
        if (!qprefix.empty() && qprefix != "xmlns" && name_matches(e, qname, name)) {
            return &all[i];
        }
    }
    return nullptr;
}

bool path_matcher::test(std::uint32_t e, const predicate& pred) const
{
    const auto compare = [&pred](const std::string& value) {
        return pred.kind == predicate::equals ? value == pred.value : value.find(pred.value) != std::string::npos;
    };
    switch (pred.target) {
    case predicate::attribute: {
        const attribute_span* a = attribute(e, pred.name);
        std::string value;
        return a != nullptr ? compare(fDoc.attribute_value(*a))
                            : fDoc.default_attribute(e, pred.name, value) && compare(value);
    }
    case predicate::self:
        return compare(fDoc.string_value(e));
    case predicate::child:
        for (std::uint32_t c = fDoc.element(e).first_child; c != no_element; c = fDoc.element(c).next_sibling) {
            if (element_named(c, pred.name) && compare(fDoc.string_value(c))) {
                return true;
            }
        }
        return false;
    }
    return false;
}

std::vector<std::uint32_t> path_matcher::select(const path& p, std::size_t count) const
{
    std::vector<std::uint32_t> context;
    std::vector<std::uint32_t> candidates;
    for (std::size_t i = 0; i < count; ++i) {
        const step& s = p.steps[i];
        std::vector<std::uint32_t> next;
        const auto filter = [&]() {
            for (const predicate& pred : s.predicates) {
                std::vector<std::uint32_t> kept;
                const long size = static_cast<long>(candidates.size());
                for (long k = 0; k < size; ++k) {
                    const std::uint32_t c = candidates[static_cast<std::size_t>(k)];
                    const bool keep = pred.kind == predicate::position ? k + 1 == pred.index
                                      : pred.kind == predicate::last   ? k + 1 == size
                                                                       : test(c, pred);
                    if (keep) {
                        kept.push_back(c);
                    }
                }
                candidates.swap(kept);
            }
            next.insert(next.end(), candidates.begin(), candidates.end());
        };
        if (i == 0) {
            candidates.clear();
            if (element_named(fDoc.root(), s.name)) {
                candidates.push_back(fDoc.root());
            }
            filter();
        } else {
            for (std::uint32_t parent : context) {
                candidates.clear();
                for (std::uint32_t c = fDoc.element(parent).first_child; c != no_element;
                     c = fDoc.element(c).next_sibling) {
                    if (element_named(c, s.name)) {
                        candidates.push_back(c);
                    }
                }
                filter();
            }
        }
        context.swap(next);
        if (context.empty()) {
            break;
        }
    }
    return context;
}

} // namespace xmlutil_edit
