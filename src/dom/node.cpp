// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"

// Internal Xerces-C 3.2 headers, for two things its interface lacks: the
// read-only mark of nodes inside an entity reference, and the import that
// its own copy of a document uses.
#include <xercesc/dom/impl/DOMCasts.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMProcessingInstructionImpl.hpp>

#include <algorithm>
#include <string_view>
#include <vector>

using namespace xmlutil_detail;
using xercesc::DOMNode;

const XMLCh xmlutil_detail::kEmptyText[] = {0};

DOMNode* xmlutil_detail::require(DOMNode* node)
{
    if (!node)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    return node;
}

bool xmlutil_detail::read_only(const DOMNode* node) noexcept
{
    return xercesc::castToNodeImpl(node)->isReadOnly();
}

// ---- XML declarations ----
//
// Xerces-C 3 has no node for the declaration. It is kept as a processing
// instruction whose target is `#xmldecl`: Xerces-C's own calls refuse that
// target, so no other node has it, and its copies and clones stay
// declarations. The data holds the three fields, each either `-` (absent)
// or `+`, the length in decimal, `:` and the text, so any text survives.

namespace {

const XMLCh kXmlDeclTarget[] = {u'#', u'x', u'm', u'l', u'd', u'e', u'c', u'l', 0};

void encode_field(bool present, const std::u16string& text, std::u16string& out)
{
    if (!present) {
        out += u'-';
        return;
    }
    out += u'+';
    for (char digit : std::to_string(text.size()))
        out += static_cast<char16_t>(digit);
    out += u':';
    out += text;
}

// Reads one field at `pos`; false when the data is not in the form above.
bool decode_field(std::u16string_view data, std::size_t& pos, bool& present, std::u16string& text)
{
    if (pos >= data.size())
        return false;
    if (data[pos] == u'-') {
        ++pos;
        present = false;
        text.clear();
        return true;
    }
    if (data[pos] != u'+')
        return false;
    std::size_t length = 0;
    bool digits = false;
    for (++pos; pos < data.size() && data[pos] >= u'0' && data[pos] <= u'9'; ++pos, digits = true)
        length = length * 10 + static_cast<std::size_t>(data[pos] - u'0');
    if (!digits || pos >= data.size() || data[pos] != u':' || data.size() - pos - 1 < length)
        return false;
    ++pos;
    present = true;
    text.assign(data.substr(pos, length));
    pos += length;
    return true;
}

std::u16string encode_fields(const XmlDeclFields& fields)
{
    std::u16string data;
    encode_field(fields.hasVersion, fields.version, data);
    encode_field(fields.hasEncoding, fields.encoding, data);
    encode_field(fields.hasStandalone, fields.standalone, data);
    return data;
}

} // namespace

bool xmlutil_detail::is_xml_decl(const DOMNode* node) noexcept
{
    return node && node->getNodeType() == DOMNode::PROCESSING_INSTRUCTION_NODE && node->getNodeName()[0] == u'#';
}

XmlDeclFields xmlutil_detail::xml_decl_fields(const DOMNode* decl)
{
    XmlDeclFields fields;
    const XMLCh* raw = static_cast<const xercesc::DOMProcessingInstruction*>(decl)->getData();
    const std::u16string_view data(raw ? raw : kEmptyText);
    std::size_t pos = 0;
    if (!decode_field(data, pos, fields.hasVersion, fields.version) ||
        !decode_field(data, pos, fields.hasEncoding, fields.encoding) ||
        !decode_field(data, pos, fields.hasStandalone, fields.standalone))
        return XmlDeclFields();
    return fields;
}

DOMNode* xmlutil_detail::make_xml_decl(xercesc::DOMDocument* doc, const XmlDeclFields& fields)
{
    const std::u16string data = encode_fields(fields);
    // Made directly: createProcessingInstruction would refuse the target.
    return new (doc, xercesc::DOMMemoryManager::PROCESSING_INSTRUCTION_OBJECT)
        xercesc::DOMProcessingInstructionImpl(doc, kXmlDeclTarget, data.c_str());
}

void xmlutil_detail::set_xml_decl_fields(DOMNode* decl, const XmlDeclFields& fields)
{
    const std::u16string data = encode_fields(fields);
    translate_dom_errors([&] { static_cast<xercesc::DOMProcessingInstruction*>(decl)->setData(data.c_str()); });
}

namespace {

bool is_character_data(short type) noexcept
{
    return type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE || type == DOMNode::COMMENT_NODE;
}

xercesc::DOMCharacterData* as_character_data(DOMNode* node) noexcept
{
    return node && is_character_data(node->getNodeType()) ? static_cast<xercesc::DOMCharacterData*>(node) : nullptr;
}

// A document type that no document has yet belongs to the document that
// createDocument makes with it; Xerces-C 3.2 would take it in and later
// free it twice.
void refuse_orphan(const DOMNode* child)
{
    if (child->getNodeType() == DOMNode::DOCUMENT_TYPE_NODE && !child->getOwnerDocument())
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
}

// Xerces-C 3.2 refuses to insert a proper ancestor of the new parent, but
// takes the parent itself, which then drops out of its document as a cycle.
void refuse_cycle(DOMNode* parent, const DOMNode* child)
{
    bool cycle = child == parent;
    // Only a node with children can be an ancestor: inserting a new leaf,
    // the common case, costs no walk.
    if (!cycle && child->hasChildNodes()) {
        for (const DOMNode* above = parent->getParentNode(); above && !cycle; above = above->getParentNode())
            cycle = above == child;
    }
    if (!cycle)
        return;
    // A read-only parent refuses first, as it does every other change.
    if (xercesc::castToNodeImpl(parent)->isReadOnly())
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
}

// ---- deep copies without recursion ----
//
// Xerces-C copies a tree by recursion, a few calls per level, so a deep tree
// overflows the stack. These copies make each node with the call Xerces-C's
// deep copy makes for it and walk the source along its own links.

struct Copied {
    DOMNode* node;
    bool descend; // whether the source's children are copied into it
};

// Copies the descendants of `source` into `target` in document order.
// `copy_one` makes one node's copy; `done` gets each copy once all of its
// children are in.
template <class CopyOne, class Done>
void copy_descendants(const DOMNode* source, DOMNode* target, CopyOne&& copy_one, Done&& done)
{
    const DOMNode* node = source->getFirstChild();
    DOMNode* into = target; // the copy of node's parent
    while (node) {
        const Copied copy = copy_one(node);
        into->appendChild(copy.node);
        if (copy.descend && node->getFirstChild()) {
            into = copy.node;
            node = node->getFirstChild();
            continue;
        }
        done(copy.node);
        while (!node->getNextSibling()) {
            node = node->getParentNode();
            if (node == source)
                return;
            DOMNode* finished = into;
            into = into->getParentNode();
            done(finished);
        }
        node = node->getNextSibling();
    }
}

void mark_read_only(DOMNode* node, bool readOnly)
{
    xercesc::castToNodeImpl(node)->isReadOnly(readOnly);
}

// The next node after `node` below `root` in document order, or null.
DOMNode* next_below(DOMNode* node, const DOMNode* root) noexcept
{
    if (DOMNode* child = node->getFirstChild())
        return child;
    for (; node != root; node = node->getParentNode()) {
        if (DOMNode* sibling = node->getNextSibling())
            return sibling;
    }
    return nullptr;
}

// A copy inside an entity reference is read-only with its attributes and
// their values, as in Xerces-C's own copy of the reference.
void seal(DOMNode* copy)
{
    mark_read_only(copy, true);
    xercesc::DOMNamedNodeMap* attributes = copy->getAttributes();
    const XMLSize_t count = attributes ? attributes->getLength() : 0;
    for (XMLSize_t i = 0; i < count; ++i) {
        DOMNode* attribute = attributes->item(i);
        for (DOMNode* part = attribute; part; part = next_below(part, attribute))
            mark_read_only(part, true);
    }
}

bool has_copied_children(short type) noexcept
{
    return type == DOMNode::ELEMENT_NODE || type == DOMNode::ENTITY_REFERENCE_NODE ||
           type == DOMNode::DOCUMENT_FRAGMENT_NODE;
}

// Deep copy of an element, entity reference or fragment, in its document.
DOMNode* copy_subtree(const DOMNode* source)
{
    // How many entity references the walk is inside, the source included.
    std::size_t insideReference = 0;
    auto copy_one = [&](const DOMNode* node) -> Copied {
        const short type = node->getNodeType();
        if (!has_copied_children(type))
            return {node->cloneNode(true), false};
        DOMNode* copy = node->cloneNode(false);
        if (type == DOMNode::ENTITY_REFERENCE_NODE) {
            // Made read-only and empty; filled first, sealed when complete.
            mark_read_only(copy, false);
            ++insideReference;
        }
        return {copy, true};
    };
    auto done = [&](DOMNode* copy) {
        if (copy->getNodeType() == DOMNode::ENTITY_REFERENCE_NODE)
            --insideReference, seal(copy);
        else if (insideReference > 0)
            seal(copy);
    };
    DOMNode* top = copy_one(source).node;
    copy_descendants(source, top, copy_one, done);
    done(top);
    return top;
}

// Xerces-C's import as its copy of a document uses it: every attribute,
// with its `specified` flag. The interface's importNode leaves out
// attributes that a DTD supplied and refuses document types.
struct DocumentImport : xercesc::DOMDocumentImpl {
    static DOMNode* run(xercesc::DOMDocument* into, const DOMNode* source, bool deep)
    {
        using Import = DOMNode* (xercesc::DOMDocumentImpl::*)(const DOMNode*, bool, bool);
        const Import import = &DocumentImport::importNode;
        return (static_cast<xercesc::DOMDocumentImpl*>(into)->*import)(source, deep, true);
    }
};

// Deep copy of a document, into a new document on the same heap.
xercesc::DOMDocument* copy_document(const DOMNode* source)
{
    auto* copy = static_cast<xercesc::DOMDocument*>(source->cloneNode(false));
    try {
        // Xerces-C imports each child deeply; an entity reference gets its
        // expansion from the copy's document type, not from the source.
        auto copy_one = [&](const DOMNode* node) -> Copied {
            if (is_xml_decl(node))
                return {make_xml_decl(copy, xml_decl_fields(node)), false};
            const bool element = node->getNodeType() == DOMNode::ELEMENT_NODE;
            return {DocumentImport::run(copy, node, !element), element};
        };
        copy_descendants(source, copy, copy_one, [](DOMNode*) {});
    } catch (...) {
        copy->release();
        throw;
    }
    return copy;
}

} // namespace

DOMNode* xmlutil_detail::import_node(xercesc::DOMDocument* into, const DOMNode* source, bool deep)
{
    auto import_one = [into](const DOMNode* node, bool nodeDeep) -> DOMNode* {
        if (is_xml_decl(node))
            return make_xml_decl(into, xml_decl_fields(node));
        // The interface's importNode refuses document types; Xerces-C's own
        // import would crash on one that no document has.
        if (node->getNodeType() == DOMNode::DOCUMENT_TYPE_NODE && !node->getOwnerDocument()) {
            const auto* type = static_cast<const xercesc::DOMDocumentType*>(node);
            return static_cast<xercesc::DOMDocumentImpl*>(into)->createDocumentType(
                type->getName(), type->getPublicId(), type->getSystemId());
        }
        if (node->getNodeType() == DOMNode::DOCUMENT_TYPE_NODE)
            return DocumentImport::run(into, node, true);
        return into->importNode(node, nodeDeep);
    };
    const short type = source->getNodeType();
    // An entity reference takes its expansion from the new document's type.
    if (!deep || type == DOMNode::ENTITY_REFERENCE_NODE || !has_copied_children(type))
        return import_one(source, deep);
    // Xerces-C imports a subtree by recursion: one level at a time here.
    DOMNode* top = import_one(source, false);
    auto copy_one = [&](const DOMNode* node) -> Copied {
        const bool element = node->getNodeType() == DOMNode::ELEMENT_NODE;
        return {import_one(node, !element), element};
    };
    copy_descendants(source, top, copy_one, [](DOMNode*) {});
    return top;
}

// ---- DOM_Node ---------------------------------------------------------------

DOMString DOM_Node::getNodeName() const
{
    return fImpl ? DOMString(fImpl->getNodeName()) : DOMString();
}

DOMString DOM_Node::getNodeValue() const
{
    if (!fImpl || getNodeType() == XML_DECL_NODE)
        return DOMString();
    return DOMString(fImpl->getNodeValue());
}

void DOM_Node::setNodeValue(const DOMString& value)
{
    DOMNode* node = require(fImpl);
    // A declaration has no value, like an element.
    if (getNodeType() == XML_DECL_NODE)
        return;
    translate_dom_errors([&] { node->setNodeValue(arg(value)); });
}

DOMString DOM_Node::getNamespaceURI() const
{
    return fImpl ? DOMString(fImpl->getNamespaceURI()) : DOMString();
}

DOMString DOM_Node::getPrefix() const
{
    return fImpl ? DOMString(fImpl->getPrefix()) : DOMString();
}

DOMString DOM_Node::getLocalName() const
{
    return fImpl ? DOMString(fImpl->getLocalName()) : DOMString();
}

DOM_NodeList DOM_Node::getChildNodes() const
{
    if (!fImpl)
        return DOM_NodeList();
    return HandleAccess::list(new NodeListImpl(fShare, fImpl));
}

DOM_NamedNodeMap DOM_Node::getAttributes() const
{
    return fImpl ? HandleAccess::map(fImpl->getAttributes(), fShare, fImpl) : DOM_NamedNodeMap();
}

DOM_Document DOM_Node::getOwnerDocument() const
{
    return fImpl ? HandleAccess::make<DOM_Document>(fImpl->getOwnerDocument(), fShare) : DOM_Document();
}

DOM_Node DOM_Node::insertBefore(const DOM_Node& newChild, const DOM_Node& refChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    refuse_orphan(newChild.fImpl);
    refuse_cycle(node, newChild.fImpl);
    return DOM_Node(change_structure(fShare, [&] { return node->insertBefore(newChild.fImpl, refChild.fImpl); }),
                    fShare);
}

DOM_Node DOM_Node::replaceChild(const DOM_Node& newChild, const DOM_Node& oldChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    if (!oldChild.fImpl)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    refuse_orphan(newChild.fImpl);
    refuse_cycle(node, newChild.fImpl);
    if (newChild.fImpl == oldChild.fImpl) {
        // A child put in its own place stays there; Xerces-C 3.2 would take
        // it out. Its insertion before itself changes nothing, but still
        // meets a read-only parent.
        if (oldChild.fImpl->getParentNode() != node)
            throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
        translate_dom_errors([&] { node->insertBefore(oldChild.fImpl, oldChild.fImpl); });
        return oldChild;
    }
    return DOM_Node(change_structure(fShare, [&] { return node->replaceChild(newChild.fImpl, oldChild.fImpl); }),
                    fShare);
}

DOM_Node DOM_Node::removeChild(const DOM_Node& oldChild)
{
    DOMNode* node = require(fImpl);
    if (!oldChild.fImpl)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    return DOM_Node(change_structure(fShare, [&] { return node->removeChild(oldChild.fImpl); }), fShare);
}

DOM_Node DOM_Node::appendChild(const DOM_Node& newChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    refuse_orphan(newChild.fImpl);
    refuse_cycle(node, newChild.fImpl);
    return DOM_Node(change_structure(fShare, [&] { return node->appendChild(newChild.fImpl); }), fShare);
}

DOM_Node DOM_Node::cloneNode(bool deep) const
{
    if (!fImpl)
        return DOM_Node();
    DOMNode* copy = translate_dom_errors([&]() -> DOMNode* {
        const short type = fImpl->getNodeType();
        if (deep && type == DOMNode::DOCUMENT_NODE)
            return copy_document(fImpl);
        if (deep && has_copied_children(type))
            return copy_subtree(fImpl);
        // Xerces-C 3.2 crashes copying a document type that no document has.
        if (type == DOMNode::DOCUMENT_TYPE_NODE && !fImpl->getOwnerDocument())
            return copy_orphan_type(static_cast<const xercesc::DOMDocumentType*>(fImpl));
        return fImpl->cloneNode(deep);
    });
    // A document copies into a new document, which needs an owner of its own.
    // The copy allocates through the original's memory manager, so it keeps
    // that alive too.
    if (copy && copy->getNodeType() == DOMNode::DOCUMENT_NODE)
        return HandleAccess::adopt(static_cast<xercesc::DOMDocument*>(copy), full_share(fShare)->memory);
    // So does a copy of a document type that no document has yet.
    if (copy && copy->getNodeType() == DOMNode::DOCUMENT_TYPE_NODE && !copy->getOwnerDocument())
        return HandleAccess::adopt_orphan(static_cast<xercesc::DOMDocumentType*>(copy));
    return DOM_Node(copy, fShare);
}

void DOM_Node::normalize()
{
    DOMNode* root = require(fImpl);
    // Xerces-C's normalize recurses once per level; this walk keeps no stack.
    change_structure(fShare, [&] {
        std::u16string merged;
        DOMNode* node = root->getFirstChild();
        while (node) {
            if (node->getNodeType() == DOMNode::TEXT_NODE) {
                DOMNode* next = node->getNextSibling();
                if (next && next->getNodeType() == DOMNode::TEXT_NODE) {
                    // One setData for the whole run, not an append per node:
                    // the document's heap keeps every intermediate buffer.
                    auto* text = static_cast<xercesc::DOMText*>(node);
                    merged.assign(text->getData());
                    while (next && next->getNodeType() == DOMNode::TEXT_NODE) {
                        merged += static_cast<xercesc::DOMText*>(next)->getData();
                        DOMNode* after = next->getNextSibling();
                        // Removed, not released: a handle may still hold it.
                        node->getParentNode()->removeChild(next);
                        next = after;
                    }
                    text->setData(merged.c_str());
                }
            } else if (node->getNodeType() == DOMNode::ELEMENT_NODE && node->getFirstChild()) {
                node = node->getFirstChild();
                continue;
            }
            while (!node->getNextSibling()) {
                node = node->getParentNode();
                if (node == root)
                    return;
            }
            node = node->getNextSibling();
        }
    });
}

bool DOM_Node::isSupported(const DOMString& feature, const DOMString& version) const
{
    return DOM_DOMImplementation().hasFeature(feature, version);
}

void DOM_Node::setPrefix(const DOMString& prefix)
{
    DOMNode* node = require(fImpl);
    const short type = node->getNodeType();
    // Only nodes made with namespaces have a local name. Refused here, so
    // that every other node, whatever its type, answers NAMESPACE_ERR.
    if ((type != DOMNode::ELEMENT_NODE && type != DOMNode::ATTRIBUTE_NODE) || !node->getLocalName())
        throw_dom_exception(DOM_DOMException::NAMESPACE_ERR);
    // The name changes, and lists of elements match by name.
    change_structure(fShare, [&] { node->setPrefix(prefix.rawBuffer()); });
}

bool DOM_Node::hasAttributes() const
{
    return fImpl && fImpl->getNodeType() == DOMNode::ELEMENT_NODE && fImpl->hasAttributes();
}

void* DOM_Node::getUserData() const
{
    if (!fImpl)
        return nullptr;
    const auto& table = full_share(fShare)->userData;
    const auto found = table.find(fImpl);
    return found == table.end() ? nullptr : found->second;
}

void DOM_Node::setUserData(void* data)
{
    DOMNode* node = require(fImpl);
    auto& table = full_share(fShare)->userData;
    if (data)
        table[node] = data;
    else
        table.erase(node);
}

// ---- character data, processing instructions, document types, attributes --

DOMString DOM_CharacterData::getData() const
{
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    return data ? DOMString(data->getData()) : DOMString();
}

void DOM_CharacterData::setData(const DOMString& value)
{
    require(fImpl);
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    if (!data)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    translate_dom_errors([&] { data->setData(arg(value)); });
}

unsigned int DOM_CharacterData::getLength() const
{
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    return data ? static_cast<unsigned int>(data->getLength()) : 0;
}

namespace {

// The character data for a change: the null node and other types refuse.
xercesc::DOMCharacterData* require_character_data(DOMNode* node)
{
    require(node);
    xercesc::DOMCharacterData* data = as_character_data(node);
    if (!data)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    return data;
}

// A read-only node refuses before its offsets are looked at.
void check_change(xercesc::DOMCharacterData* data, unsigned int offset)
{
    if (read_only(data))
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    if (offset > data->getLength())
        throw_dom_exception(DOM_DOMException::INDEX_SIZE_ERR);
}

} // namespace

DOMString DOM_CharacterData::substringData(unsigned int offset, unsigned int count) const
{
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    if (!data)
        return DOMString();
    const XMLSize_t length = data->getLength();
    if (offset > length)
        throw_dom_exception(DOM_DOMException::INDEX_SIZE_ERR);
    const XMLSize_t available = length - offset;
    const unsigned int taken = count < available ? count : static_cast<unsigned int>(available);
    if (taken == 0)
        return DOMString();
    return DOMString(data->getData() + offset, taken);
}

void DOM_CharacterData::appendData(const DOMString& text)
{
    xercesc::DOMCharacterData* data = require_character_data(fImpl);
    translate_dom_errors([&] { data->appendData(arg(text)); });
}

void DOM_CharacterData::insertData(unsigned int offset, const DOMString& text)
{
    xercesc::DOMCharacterData* data = require_character_data(fImpl);
    check_change(data, offset);
    translate_dom_errors([&] { data->insertData(offset, arg(text)); });
}

void DOM_CharacterData::deleteData(unsigned int offset, unsigned int count)
{
    xercesc::DOMCharacterData* data = require_character_data(fImpl);
    check_change(data, offset);
    translate_dom_errors([&] { data->deleteData(offset, count); });
}

void DOM_CharacterData::replaceData(unsigned int offset, unsigned int count, const DOMString& text)
{
    xercesc::DOMCharacterData* data = require_character_data(fImpl);
    check_change(data, offset);
    translate_dom_errors([&] { data->replaceData(offset, count, arg(text)); });
}

DOM_Text DOM_Text::splitText(unsigned int offset)
{
    require(fImpl);
    const short type = fImpl->getNodeType();
    if (type != DOMNode::TEXT_NODE && type != DOMNode::CDATA_SECTION_NODE)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    auto* text = static_cast<xercesc::DOMText*>(fImpl);
    check_change(text, offset);
    // Made here rather than by Xerces-C's splitText, which splits a CDATA
    // section into another CDATA section.
    DOMNode* rest = change_structure(fShare, [&]() -> DOMNode* {
        const XMLSize_t length = text->getLength();
        const std::u16string tail(text->getData() + offset, length - offset);
        DOMNode* made = text->getOwnerDocument()->createTextNode(tail.c_str());
        split_ranges(text, made, offset);
        text->deleteData(offset, length - offset);
        if (DOMNode* parent = text->getParentNode())
            parent->insertBefore(made, text->getNextSibling());
        return made;
    });
    return HandleAccess::make<DOM_Text>(rest, fShare);
}

bool DOM_Text::isIgnorableWhitespace()
{
    const short type = fImpl ? fImpl->getNodeType() : 0;
    if (type != DOMNode::TEXT_NODE && type != DOMNode::CDATA_SECTION_NODE)
        return false;
    return static_cast<xercesc::DOMText*>(fImpl)->isIgnorableWhitespace();
}

DOMString DOM_ProcessingInstruction::getTarget() const
{
    auto* pi = as<xercesc::DOMProcessingInstruction>(fImpl, DOMNode::PROCESSING_INSTRUCTION_NODE);
    return pi ? DOMString(pi->getTarget()) : DOMString();
}

DOMString DOM_ProcessingInstruction::getData() const
{
    auto* pi = as<xercesc::DOMProcessingInstruction>(fImpl, DOMNode::PROCESSING_INSTRUCTION_NODE);
    return pi ? DOMString(pi->getData()) : DOMString();
}

DOMString DOM_Attr::getName() const
{
    auto* attr = as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    return attr ? DOMString(attr->getName()) : DOMString();
}

DOMString DOM_Attr::getValue() const
{
    auto* attr = as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    return attr ? DOMString(attr->getValue()) : DOMString();
}

void DOM_Attr::setValue(const DOMString& value)
{
    auto* attr = require_as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    translate_dom_errors([&] { attr->setValue(arg(value)); });
}

bool DOM_Attr::getSpecified() const
{
    auto* attr = as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    return attr && attr->getSpecified();
}

DOM_Element DOM_Attr::getOwnerElement() const
{
    auto* attr = as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    return attr ? HandleAccess::make<DOM_Element>(attr->getOwnerElement(), fShare) : DOM_Element();
}

// ---- DOM_Element --------------------------------------------------------------

DOMString DOM_Element::getTagName() const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? DOMString(element->getTagName()) : DOMString();
}

DOMString DOM_Element::getAttribute(const DOMString& name) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? DOMString(element->getAttribute(arg(name))) : DOMString();
}

void DOM_Element::setAttribute(const DOMString& name, const DOMString& value)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    translate_dom_errors([&] { element->setAttribute(arg(name), arg(value)); });
}

void DOM_Element::removeAttribute(const DOMString& name)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    // Xerces-C's removeAttribute recycles the attribute node, which a handle
    // may still hold; removing the node itself leaves it intact.
    translate_dom_errors([&] {
        if (xercesc::DOMAttr* attr = element->getAttributeNode(arg(name)))
            element->removeAttributeNode(attr);
    });
}

DOM_Attr DOM_Element::getAttributeNode(const DOMString& name) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? HandleAccess::make<DOM_Attr>(element->getAttributeNode(arg(name)), fShare) : DOM_Attr();
}

DOM_NodeList xmlutil_detail::elements_by_tag_name(DOMNode* root, DocumentCount* share, const DOMString& name)
{
    if (!root)
        return DOM_NodeList();
    auto* list = new NodeListImpl(share, root);
    list->deep = true;
    const XMLCh* raw = arg(name);
    list->name = raw;
    list->matchAll = list->name == u"*";
    return HandleAccess::list(list);
}

DOM_NodeList DOM_Element::getElementsByTagName(const DOMString& name) const
{
    return elements_by_tag_name(fImpl, fShare, name);
}

bool DOM_Element::hasAttribute(const DOMString& name) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element && element->getAttributeNode(arg(name));
}

namespace {

// The attribute argument of setAttributeNode(NS): a null handle, or one on
// another type of node, cannot go into an attribute map.
xercesc::DOMAttr* attribute_argument(const DOM_Attr& handle)
{
    DOMNode* node = HandleAccess::node(handle);
    if (!node || node->getNodeType() != DOMNode::ATTRIBUTE_NODE)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    return static_cast<xercesc::DOMAttr*>(node);
}

// The checks of setAttributeNode(NS), in the classic order.
void check_new_attribute(xercesc::DOMElement* element, xercesc::DOMAttr* attr, bool ownElementToo)
{
    if (read_only(element))
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    if (attr->getOwnerDocument() != element->getOwnerDocument())
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
    const xercesc::DOMElement* owner = attr->getOwnerElement();
    if (owner && (ownElementToo || owner != element))
        throw_dom_exception(DOM_DOMException::INUSE_ATTRIBUTE_ERR);
}

} // namespace

DOM_Attr DOM_Element::setAttributeNode(DOM_Attr newAttr)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    xercesc::DOMAttr* attr = attribute_argument(newAttr);
    check_new_attribute(element, attr, false);
    if (attr->getOwnerElement() == element)
        return DOM_Attr();
    return HandleAccess::make<DOM_Attr>(translate_dom_errors([&] { return element->setAttributeNode(attr); }),
                                        fShare);
}

DOM_Attr DOM_Element::removeAttributeNode(DOM_Attr oldAttr)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    DOMNode* node = HandleAccess::node(oldAttr);
    if (read_only(element))
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    if (!node || node->getNodeType() != DOMNode::ATTRIBUTE_NODE ||
        static_cast<xercesc::DOMAttr*>(node)->getOwnerElement() != element)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    auto* attr = static_cast<xercesc::DOMAttr*>(node);
    return HandleAccess::make<DOM_Attr>(translate_dom_errors([&] { return element->removeAttributeNode(attr); }),
                                        fShare);
}

DOMString DOM_Element::getAttributeNS(const DOMString& namespaceURI, const DOMString& localName) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? DOMString(element->getAttributeNS(namespaceURI.rawBuffer(), arg(localName))) : DOMString();
}

void DOM_Element::setAttributeNS(const DOMString& namespaceURI, const DOMString& qualifiedName,
                                 const DOMString& value)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    if (read_only(element))
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    translate_dom_errors([&] {
        // A new attribute in the place of the one of the same qualified name,
        // as the classic DOM does; Xerces-C's setAttributeNS would instead
        // keep the one of the same URI and local name, with its prefix.
        xercesc::DOMAttr* attr =
            element->getOwnerDocument()->createAttributeNS(namespaceURI.rawBuffer(), arg(qualifiedName));
        attr->setValue(arg(value));
        // The replaced attribute is not released: a handle may hold it.
        element->getAttributes()->setNamedItem(attr);
    });
}

void DOM_Element::removeAttributeNS(const DOMString& namespaceURI, const DOMString& localName)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    if (read_only(element))
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    // As in removeAttribute: Xerces-C's removeAttributeNS recycles the node.
    translate_dom_errors([&] {
        if (xercesc::DOMAttr* attr = element->getAttributeNodeNS(namespaceURI.rawBuffer(), arg(localName)))
            element->removeAttributeNode(attr);
    });
}

DOM_Attr DOM_Element::getAttributeNodeNS(const DOMString& namespaceURI, const DOMString& localName) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? HandleAccess::make<DOM_Attr>(
                         element->getAttributeNodeNS(namespaceURI.rawBuffer(), arg(localName)), fShare)
                   : DOM_Attr();
}

DOM_Attr DOM_Element::setAttributeNodeNS(DOM_Attr newAttr)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    xercesc::DOMAttr* attr = attribute_argument(newAttr);
    check_new_attribute(element, attr, true);
    return HandleAccess::make<DOM_Attr>(translate_dom_errors([&] { return element->setAttributeNodeNS(attr); }),
                                        fShare);
}

DOM_NodeList DOM_Element::getElementsByTagNameNS(const DOMString& namespaceURI, const DOMString& localName) const
{
    return elements_by_tag_name_ns(fImpl, fShare, namespaceURI, localName);
}

DOM_NodeList xmlutil_detail::elements_by_tag_name_ns(DOMNode* root, DocumentCount* share,
                                                     const DOMString& namespaceURI, const DOMString& localName)
{
    if (!root)
        return DOM_NodeList();
    auto* list = new NodeListImpl(share, root);
    list->deep = true;
    list->byNamespace = true;
    list->name = arg(localName);
    list->matchAll = list->name == u"*";
    list->namespaceURI = arg(namespaceURI);
    list->anyNamespace = list->namespaceURI == u"*";
    return HandleAccess::list(list);
}

bool DOM_Element::hasAttributeNS(const DOMString& namespaceURI, const DOMString& localName) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element && element->getAttributeNodeNS(namespaceURI.rawBuffer(), arg(localName));
}

