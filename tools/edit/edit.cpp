// SPDX-License-Identifier: Apache-2.0
#include "edit.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace xmlutil_edit {

namespace {

// What the parser sees of one element, for comparing a document before and
// after an edit: only the edited element may differ.
struct record {
    std::uint32_t depth = 0;
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text; // own text; white space alone counts as none

    bool operator==(const record& o) const
    {
        return depth == o.depth && name == o.name && attributes == o.attributes && text == o.text;
    }
};

bool only_space(const std::string& text)
{
    return text.find_first_not_of(" \t\n\r") == std::string::npos;
}

std::string normal_text(const std::string& text)
{
    return only_space(text) ? std::string() : text;
}

record make_record(const xml_doc& doc, std::uint32_t e)
{
    record r;
    r.depth = doc.element(e).depth;
    r.name = doc.name(e);
    const attribute_span* all = doc.attributes(e);
    for (std::uint32_t i = 0; i < doc.element(e).attributes_count; ++i) {
        r.attributes.emplace_back(doc.attribute_name(all[i]), doc.attribute_value(all[i]));
    }
    try {
        r.text = normal_text(doc.own_text(e));
    } catch (const failure&) {
        // Text the tool cannot expand is compared as written.
        const element_span& span = doc.element(e);
        r.text = "\x01" + doc.text().substr(span.start_end, span.content_end - span.start_end);
    }
    return r;
}

std::vector<record> flatten(const xml_doc& doc)
{
    std::vector<record> all;
    all.reserve(doc.element_count());
    for (std::uint32_t e = 0; e < doc.element_count(); ++e) {
        all.push_back(make_record(doc, e));
    }
    return all;
}

// The index after the last element inside `e`.
std::uint32_t subtree_end(const xml_doc& doc, std::uint32_t e)
{
    while (doc.element(e).last_child != no_element) {
        e = doc.element(e).last_child;
    }
    return e + 1;
}

// One character of UTF-8 text starting at `at`.
std::string utf8_char(const std::string& s, std::size_t at)
{
    const unsigned char c = static_cast<unsigned char>(s[at]);
    const std::size_t n = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    return s.substr(at, n);
}

unsigned long code_point(const std::string& ch)
{
    const auto* p = reinterpret_cast<const unsigned char*>(ch.data());
    if (ch.size() == 1) return p[0];
    if (ch.size() == 2) return ((p[0] & 0x1Fu) << 6) | (p[1] & 0x3Fu);
    if (ch.size() == 3) return ((p[0] & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
    return ((p[0] & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
}

std::string reference(unsigned long c)
{
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "&#x%lX;", c);
    return buffer;
}

// Text for element content: markup characters as references where they
// would be read as markup, characters the file's encoding lacks as
// character references, carriage returns kept by reference.
std::string escape_text(const std::string& value, const file_encoding& enc)
{
    std::string out;
    for (std::size_t i = 0; i < value.size();) {
        const std::string ch = utf8_char(value, i);
        i += ch.size();
        if (ch == "&") {
            out += "&amp;";
        } else if (ch == "<") {
            out += "&lt;";
        } else if (ch == ">" && out.size() >= 2 && out.compare(out.size() - 2, 2, "]]") == 0) {
            out += "&gt;";
        } else if (ch == "\r") {
            out += "&#xD;";
        } else if (ch.size() > 1 && !enc.holds(ch)) {
            out += reference(code_point(ch));
        } else {
            out += ch;
        }
    }
    return out;
}

// An attribute value: also the quote, and white space that the parser
// would turn into spaces.
std::string escape_attribute(const std::string& value, char quote, const file_encoding& enc)
{
    std::string out;
    for (std::size_t i = 0; i < value.size();) {
        const std::string ch = utf8_char(value, i);
        i += ch.size();
        if (ch == "&") {
            out += "&amp;";
        } else if (ch == "<") {
            out += "&lt;";
        } else if (ch[0] == quote) {
            out += quote == '"' ? "&quot;" : "&apos;";
        } else if (ch == "\t") {
            out += "&#x9;";
        } else if (ch == "\n") {
            out += "&#xA;";
        } else if (ch == "\r") {
            out += "&#xD;";
        } else if (ch.size() > 1 && !enc.holds(ch)) {
            out += reference(code_point(ch));
        } else {
            out += ch;
        }
    }
    return out;
}

// A name can take no character reference: one the encoding lacks is refused.
void check_name(const std::string& name, const file_encoding& enc)
{
    for (std::size_t i = 0; i < name.size();) {
        const std::string ch = utf8_char(name, i);
        i += ch.size();
        if (ch.size() > 1 && !enc.holds(ch)) {
            throw failure(2, "the name '" + name + "' cannot be written in the file's encoding " + enc.name +
                                 ", and a name cannot hold a character reference");
        }
    }
}

std::string line_feeds(const std::string& text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        out += text[i] == '\r' ? '\n' : text[i];
    }
    return out;
}

struct splice {
    std::size_t begin = 0, end = 0;
    std::string text;
};

class editor {
public:
    editor(const loaded_document& in, const path& p, const namespaces& ns)
        : fIn(in), fDoc(*in.doc), fText(fDoc.text()), fPath(p), fNs(ns), fMatch(fDoc, ns)
    {
        fBefore = flatten(fDoc);
        fExpected = fBefore;
        const std::size_t lf = fText.find('\n');
        if (lf != std::string::npos) {
            fEol = lf > 0 && fText[lf - 1] == '\r' ? "\r\n" : "\n";
        }
    }

    edit_result run(edit_kind kind, const std::string& value, bool has_value)
    {
        switch (kind) {
        case edit_kind::set: set(value); break;
        case edit_kind::add: add(value, has_value); break;
        case edit_kind::remove: remove(); break;
        }
        return finish();
    }

private:
    [[noreturn]] void no_match() const { throw failure(1, "no match for '" + fPath.text + "' in " + fIn.label); }

    std::string describe(std::uint32_t e) const { return "<" + fDoc.name(e) + ">"; }

    // The white space before `pos` back to the start of its line, when
    // nothing else stands there.
    bool line_indent(std::size_t pos, std::string& indent) const
    {
        std::size_t at = pos;
        while (at > 0 && (fText[at - 1] == ' ' || fText[at - 1] == '\t')) {
            --at;
        }
        if (at > 0 && fText[at - 1] != '\n') {
            return false;
        }
        indent = fText.substr(at, pos - at);
        return !fEol.empty();
    }

    // Where "<a />" turns into "<a>...</a>": the white space before "/>"
    // has nothing to separate any more.
    std::size_t empty_tag_close(std::uint32_t e) const
    {
        std::size_t at = fDoc.element(e).end - 2;
        while (fText[at - 1] == ' ' || fText[at - 1] == '\t' || fText[at - 1] == '\n' || fText[at - 1] == '\r') {
            --at;
        }
        return at;
    }

    // One level of indentation as the document uses it.
    std::string indent_step() const
    {
        bool tabs = false;
        for (std::uint32_t e = 1; e < fDoc.element_count(); ++e) {
            const element_span& span = fDoc.element(e);
            std::string child, parent;
            if (line_indent(span.begin, child) && line_indent(fDoc.element(span.parent).begin, parent)) {
                if (child.size() > parent.size() && child.compare(0, parent.size(), parent) == 0) {
                    return child.substr(parent.size());
                }
                tabs = tabs || child.find('\t') != std::string::npos;
            }
        }
        return tabs ? "\t" : "  ";
    }

    // The name a new element or attribute gets for a step: a prefix bound
    // with -N is written as the document binds that namespace at `e`.
    std::string written_name(std::uint32_t e, const std::string& name, bool attribute) const
    {
        check_name(name, fIn.encoding);
        const std::size_t colon = name.find(':');
        if (colon == std::string::npos) {
            return name;
        }
        const auto bound = fNs.find(name.substr(0, colon));
        if (bound == fNs.end()) {
            return name;
        }
        std::string uri;
        if (fDoc.namespace_uri(e, name.substr(0, colon), uri) && uri == bound->second) {
            return name;
        }
        if (!attribute && fDoc.namespace_uri(e, "", uri) && uri == bound->second) {
            return name.substr(colon + 1);
        }
        throw failure(2, "cannot create '" + name + "': the document binds no prefix to " + bound->second + " there");
    }

    // Markup for new elements named by `names`, the last holding `value`
    // (or the attribute of the path), laid out from `indent` when on lines.
    std::string new_markup(std::uint32_t parent, const std::vector<std::string>& names, std::size_t first,
                           const std::string& value, bool has_value, const std::string& indent, bool lines,
                           std::uint32_t depth, std::vector<record>& made) const
    {
        const std::string name = written_name(parent, names[first], false);
        record r;
        r.depth = depth;
        r.name = name;
        if (first + 1 == names.size()) {
            const std::size_t at = made.size();
            made.push_back(r);
            if (fPath.target == path::select_attribute) {
                const std::string attribute = written_name(parent, fPath.attribute, true);
                made[at].attributes.emplace_back(attribute, value);
                return "<" + name + " " + attribute + "=\"" + escape_attribute(value, '"', fIn.encoding) + "\"/>";
            }
            made[at].text = normal_text(value);
            if (!has_value) {
                return "<" + name + "/>";
            }
            return "<" + name + ">" + escape_text(value, fIn.encoding) + "</" + name + ">";
        }
        made.push_back(r);
        const std::string inner_indent = indent + fStep;
        const std::string inner = new_markup(parent, names, first + 1, value, has_value, inner_indent, lines,
                                             depth + 1, made);
        if (lines) {
            return "<" + name + ">" + fEol + inner_indent + inner + fEol + indent + "</" + name + ">";
        }
        return "<" + name + ">" + inner + "</" + name + ">";
    }

    // Adds elements as children of `parent`: after `after`, one of its
    // children, or else as its last child.
    void insert_elements(std::uint32_t parent, std::uint32_t after, const std::vector<std::string>& names,
                         const std::string& value, bool has_value)
    {
        fStep = indent_step();
        const element_span& p = fDoc.element(parent);
        std::vector<record> made;
        std::uint32_t index;
        if (after == no_element && p.last_child != no_element) {
            after = p.last_child;
        }
        if (after != no_element) {
            const element_span& sibling = fDoc.element(after);
            std::string indent;
            const bool lines = line_indent(sibling.begin, indent);
            const std::string markup =
                new_markup(parent, names, 0, value, has_value, indent, lines, p.depth + 1, made);
            fSplice.begin = fSplice.end = sibling.end;
            fSplice.text = lines ? fEol + indent + markup : markup;
            index = subtree_end(fDoc, after);
        } else {
            const std::string content = fText.substr(p.start_end, p.content_end - p.start_end);
            if (!only_space(content) || fDoc.has_other_content(parent)) {
                throw failure(2, "'" + fPath.text + "': cannot add an element to " + describe(parent) +
                                     ", which holds text of its own");
            }
            std::string indent;
            const bool lines = line_indent(p.begin, indent);
            const std::string markup =
                new_markup(parent, names, 0, value, has_value, indent + fStep, lines, p.depth + 1, made);
            const std::string inner = lines ? fEol + indent + fStep + markup + fEol + indent : markup;
            if (p.empty_tag) {
                fSplice.begin = empty_tag_close(parent);
                fSplice.end = p.end;
                fSplice.text = ">" + inner + "</" + fDoc.name(parent) + ">";
            } else {
                fSplice.begin = p.start_end;
                fSplice.end = p.content_end;
                fSplice.text = inner;
            }
            index = parent + 1;
        }
        fExpected.insert(fExpected.begin() + index, made.begin(), made.end());
        fLayoutChanged = parent;
    }

    void set_text(std::uint32_t e, const std::string& value)
    {
        if (fDoc.has_child_elements(e)) {
            throw failure(2, "'" + fPath.text + "': " + describe(e) +
                                 " has child elements; set replaces text only");
        }
        if (fDoc.has_other_content(e)) {
            throw failure(2, "'" + fPath.text + "': " + describe(e) +
                                 " holds a comment or processing instruction, which set would remove");
        }
        const element_span& span = fDoc.element(e);
        fExpected[e].text = normal_text(value);
        std::size_t inside_begin = 0, inside_end = 0;
        if (span.empty_tag) {
            if (value.empty()) {
                return;
            }
            fSplice.begin = empty_tag_close(e);
            fSplice.end = span.end;
            fSplice.text = ">" + escape_text(value, fIn.encoding) + "</" + fDoc.name(e) + ">";
        } else if (fDoc.single_cdata(e, inside_begin, inside_end) && value.find("]]>") == std::string::npos &&
                   value.find('\r') == std::string::npos && escape_text(value, fIn.encoding).find("&#x") == std::string::npos) {
            // Kept a CDATA section: it holds the value as it is.
            fSplice.begin = inside_begin;
            fSplice.end = inside_end;
            fSplice.text = value;
        } else {
            std::size_t begin = span.start_end;
            std::size_t end = span.content_end;
            const std::string content = fText.substr(begin, end - begin);
            // The white space around the text is layout unless xml:space
            // says otherwise; it stays, and get leaves it out too.
            if (!only_space(content) && !fDoc.preserves_space(e)) {
                const std::size_t lead = content.find_first_not_of(" \t\n\r");
                const std::size_t trail = content.size() - 1 - content.find_last_not_of(" \t\n\r");
                begin += lead;
                end -= trail;
                // The value's own carriage returns are written as references
                // and read back as they are; the kept white space's line ends
                // read as line feeds.
                fExpected[e].text =
                    normal_text(line_feeds(content.substr(0, lead)) + value + line_feeds(content.substr(content.size() - trail)));
            }
            fSplice.begin = begin;
            fSplice.end = end;
            fSplice.text = escape_text(value, fIn.encoding);
        }
    }

    void set_attribute(std::uint32_t e, const std::string& value)
    {
        const element_span& span = fDoc.element(e);
        if (const attribute_span* a = fMatch.attribute(e, fPath.attribute)) {
            fSplice.begin = a->value_begin;
            fSplice.end = a->value_end;
            fSplice.text = escape_attribute(value, a->quote, fIn.encoding);
            const std::size_t i = static_cast<std::size_t>(a - fDoc.attributes(e));
            fExpected[e].attributes[i].second = fDoc.value_as_read(e, fDoc.attribute_name(*a), value);
            return;
        }
        const std::string name = written_name(e, fPath.attribute, true);
        const char quote = span.attributes_count > 0 ? fDoc.attributes(e)[0].quote : '"';
        fSplice.begin = fSplice.end =
            span.attributes_count > 0 ? fDoc.attributes(e)[span.attributes_count - 1].value_end + 1 : span.name_end;
        fSplice.text = " " + name + "=" + quote + escape_attribute(value, quote, fIn.encoding) + quote;
        fExpected[e].attributes.emplace_back(name, fDoc.value_as_read(e, name, value));
    }

    void set(const std::string& value)
    {
        const std::size_t n = fPath.steps.size();
        const std::vector<std::uint32_t> found = fMatch.select(fPath, n);
        if (!found.empty()) {
            if (fPath.target == path::select_attribute) {
                set_attribute(found[0], value);
            } else {
                set_text(found[0], value);
            }
            return;
        }
        // The longest start of the path that matches; the rest is created.
        std::size_t k = n - 1;
        std::vector<std::uint32_t> parents;
        for (; k > 0; --k) {
            parents = fMatch.select(fPath, k);
            if (!parents.empty()) {
                break;
            }
        }
        if (k == 0) {
            no_match();
        }
        std::vector<std::string> names;
        for (std::size_t i = k; i < n; ++i) {
            if (!fPath.steps[i].plain()) {
                no_match();
            }
            names.push_back(fPath.steps[i].name);
        }
        insert_elements(parents[0], no_element, names, value, true);
    }

    void add(const std::string& value, bool has_value)
    {
        const std::size_t n = fPath.steps.size();
        if (fPath.target != path::select_element || !fPath.steps.back().plain()) {
            throw failure(2, "'" + fPath.text + "': add takes a path whose last step is an element name");
        }
        if (n == 1) {
            throw failure(2, "'" + fPath.text + "': a document has one root element");
        }
        const std::vector<std::uint32_t> parents = fMatch.select(fPath, n - 1);
        if (parents.empty()) {
            no_match();
        }
        std::uint32_t after = no_element;
        for (std::uint32_t c = fDoc.element(parents[0]).first_child; c != no_element;
             c = fDoc.element(c).next_sibling) {
            if (fMatch.element_named(c, fPath.steps.back().name)) {
                after = c;
            }
        }
        insert_elements(parents[0], after, {fPath.steps.back().name}, value, has_value);
    }

    void remove()
    {
        const std::vector<std::uint32_t> found = fMatch.select(fPath, fPath.steps.size());
        if (found.empty()) {
            no_match();
        }
        const std::uint32_t e = found[0];
        if (fPath.target == path::select_text) {
            set_text(e, "");
            return;
        }
        if (fPath.target == path::select_attribute) {
            const attribute_span* a = fMatch.attribute(e, fPath.attribute);
            if (a == nullptr) {
                no_match();
            }
            std::size_t begin = a->name_begin;
            while (begin > 0 && (fText[begin - 1] == ' ' || fText[begin - 1] == '\t' || fText[begin - 1] == '\n' ||
                                 fText[begin - 1] == '\r')) {
                --begin;
            }
            fSplice.begin = begin;
            fSplice.end = a->value_end + 1;
            const std::size_t i = static_cast<std::size_t>(a - fDoc.attributes(e));
            fExpected[e].attributes.erase(fExpected[e].attributes.begin() + static_cast<long>(i));
            return;
        }
        if (e == fDoc.root()) {
            throw failure(2, "'" + fPath.text + "': the root element cannot be deleted");
        }
        const element_span& span = fDoc.element(e);
        fSplice.begin = span.begin;
        fSplice.end = span.end;
        std::string indent;
        if (line_indent(span.begin, indent)) {
            std::size_t after = span.end;
            while (after < fText.size() && (fText[after] == ' ' || fText[after] == '\t')) {
                ++after;
            }
            if (fText.compare(after, fEol.size(), fEol) == 0) {
                // Alone on its line: the line goes.
                fSplice.begin = span.begin - indent.size();
                fSplice.end = after + fEol.size();
            }
        }
        fExpected.erase(fExpected.begin() + e, fExpected.begin() + subtree_end(fDoc, e));
        fLayoutChanged = span.parent;
    }

    edit_result finish() const
    {
        edit_result result;
        result.text = fText.substr(0, fSplice.begin) + fSplice.text + fText.substr(fSplice.end);
        result.bytes = fIn.encoding.encode(result.text);
        const std::string label = fIn.label;
        try {
            check_well_formed(result.bytes, label);
        } catch (const failure& e) {
            throw failure(3, std::string("refusing to save ") + label + ": the edited document would not parse (" +
                                 e.what() + "); the file is unchanged");
        }
        file_encoding again;
        const xml_doc after(decode_file(result.bytes, again, label));
        const std::vector<record> got = flatten(after);
        const auto same = [this](const record& a, const record& b, std::size_t i) {
            if (i != fLayoutChanged) {
                return a == b;
            }
            // The parent of an added or removed element gains or loses
            // line breaks and indentation among its text.
            const auto no_space = [](std::string text) {
                text.erase(std::remove_if(text.begin(), text.end(),
                                          [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }),
                           text.end());
                return text;
            };
            return a.depth == b.depth && a.name == b.name && a.attributes == b.attributes &&
                   no_space(a.text) == no_space(b.text);
        };
        std::size_t i = 0;
        while (i < got.size() && i < fExpected.size() && same(got[i], fExpected[i], i)) {
            ++i;
        }
        if (i < got.size() || i < fExpected.size()) {
            const std::string what = i < got.size() ? "<" + got[i].name + ">" : "the end of the document";
            throw failure(3, "refusing to save " + label + ": the edited document would read back differently at " +
                                 what + "; the file is unchanged");
        }
        return result;
    }

    const loaded_document& fIn;
    const xml_doc& fDoc;
    const std::string& fText;
    const path& fPath;
    const namespaces& fNs;
    path_matcher fMatch;
    std::string fEol;
    std::string fStep = "  ";
    std::vector<record> fBefore;
    std::vector<record> fExpected;
    splice fSplice;
    std::size_t fLayoutChanged = static_cast<std::size_t>(-1); // a record compared without white space
};

std::vector<std::string> split_lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t lf = text.find('\n', at);
        const std::size_t end = lf == std::string::npos ? text.size() : lf + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

std::string range(std::size_t start, std::size_t count)
{
    // Unified diff ranges: a range of no lines names the line before it.
    if (count == 0) {
        return std::to_string(start) + ",0";
    }
    if (count == 1) {
        return std::to_string(start + 1);
    }
    return std::to_string(start + 1) + "," + std::to_string(count);
}

void diff_line(std::string& out, char mark, const std::string& line)
{
    out += mark;
    out += line;
    if (line.empty() || line.back() != '\n') {
        out += "\n\\ No newline at end of file\n";
    }
}

} // namespace

loaded_document load_document(const std::string& bytes, const std::string& label)
{
    check_well_formed(bytes, label);
    loaded_document in;
    in.label = label;
    in.doc = std::make_unique<xml_doc>(decode_file(bytes, in.encoding, label));
    return in;
}

edit_result apply_edit(const loaded_document& in, edit_kind kind, const path& p, const namespaces& ns,
                       const std::string& value, bool has_value)
{
    editor e(in, p, ns);
    return e.run(kind, value, has_value);
}

std::string unified_diff(const std::string& before, const std::string& after, const std::string& label)
{
    if (before == after) {
        return std::string();
    }
    const std::vector<std::string> a = split_lines(before);
    const std::vector<std::string> b = split_lines(after);
    std::size_t head = 0;
    while (head < a.size() && head < b.size() && a[head] == b[head]) {
        ++head;
    }
    std::size_t tail = 0;
    while (tail < a.size() - head && tail < b.size() - head && a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) {
        ++tail;
    }
    const std::size_t context = 3;
    const std::size_t start = head > context ? head - context : 0;
    const std::size_t after_context = std::min(tail, context);
    const std::size_t a_end = a.size() - tail + after_context;
    const std::size_t b_end = b.size() - tail + after_context;
    std::string out = "--- " + label + "\n+++ " + label + "\n";
    out += "@@ -" + range(start, a_end - start) + " +" + range(start, b_end - start) + " @@\n";
    for (std::size_t i = start; i < head; ++i) {
        diff_line(out, ' ', a[i]);
    }
    for (std::size_t i = head; i < a.size() - tail; ++i) {
        diff_line(out, '-', a[i]);
    }
    for (std::size_t i = head; i < b.size() - tail; ++i) {
        diff_line(out, '+', b[i]);
    }
    for (std::size_t i = a.size() - tail; i < a_end; ++i) {
        diff_line(out, ' ', a[i]);
    }
    return out;
}

} // namespace xmlutil_edit
