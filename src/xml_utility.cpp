// SPDX-License-Identifier: Apache-2.0
#include "file_replace.h"
#include "internal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <streambuf>
#include <vector>


using namespace xmlutil_detail;

namespace {

[[noreturn]] void fail(const char* message)
{
    throw cTextException("%s", message);
}

// Writes the document through a replacement of the file, so that a failed
// save leaves the old content whole. The writer does not flush line by line
// here; the replacement writes in large blocks.
replace_failure save_document(DOM_Document& document, const std::string& fileName)
{
    file_replacement file(fileName);
    if (file.failure())
        return file.failure();
    std::ostream out(&file);
    write_tree(out, document, false);
    return file.commit();
}

// Records that this thread's facades have let go of, kept for reuse: a new
// record costs three allocations (the record, and the map and first block of
// its node stack), and every step of an iterator makes one. A record comes
// back emptied, so it holds no document; plain new and delete still suit it.
class RecordPool {
public:
    RecordPool() { fFree.reserve(kKept); }
    RecordPool(const RecordPool&) = delete;
    RecordPool& operator=(const RecordPool&) = delete;
    ~RecordPool()
    {
        for (cXML_UtilityData* record : fFree)
            delete record;
        tPoolGone = true;
    }

    // Set once this thread's pool is gone: facades that outlive it (static
    // ones, destroyed after every thread-local object) then allocate and
    // delete as usual.
    static thread_local bool tPoolGone;

    cXML_UtilityData* take(unsigned int mode, int fromIterator, const DOM_Node& activeNode,
                           const DOM_Document& document)
    {
        if (fFree.empty())
            return new cXML_UtilityData(mode, fromIterator, activeNode, document, std::deque<DOM_Node>());
        cXML_UtilityData* record = fFree.back();
        fFree.pop_back();
        record->uiMode = mode;
        record->bFromIterator = fromIterator;
        record->ActiveNode = activeNode;
        record->Document = document;
        return record;
    }

    cXML_UtilityData* copy(const cXML_UtilityData& source)
    {
        cXML_UtilityData* record = take(source.uiMode, source.bFromIterator, source.ActiveNode, source.Document);
        try {
            record->NodeStack = source.NodeStack;
        } catch (...) {
            give(record);
            throw;
        }
        return record;
    }

    void give(cXML_UtilityData* record) noexcept
    {
        if (!record)
            return;
        record->NodeStack.clear();
        record->Document = DOM_Document();
        record->ActiveNode = DOM_Node();
        if (fFree.size() < kKept) {
            fFree.push_back(record); // capacity reserved below: cannot throw
            return;
        }
        delete record;
    }

private:
    static constexpr std::size_t kKept = 16;
    std::vector<cXML_UtilityData*> fFree;
};

thread_local bool RecordPool::tPoolGone = false;

// This thread's pool, or null once it is gone.
RecordPool* record_pool()
{
    if (RecordPool::tPoolGone)
        return nullptr;
    static thread_local RecordPool pool;
    return &pool;
}

cXML_UtilityData* new_record(unsigned int mode, int fromIterator, const DOM_Node& activeNode,
                             const DOM_Document& document)
{
    if (RecordPool* pool = record_pool())
        return pool->take(mode, fromIterator, activeNode, document);
    return new cXML_UtilityData(mode, fromIterator, activeNode, document, std::deque<DOM_Node>());
}

cXML_UtilityData* copy_record(const cXML_UtilityData& source)
{
    if (RecordPool* pool = record_pool())
        return pool->copy(source);
    return new cXML_UtilityData(source);
}

void delete_record(cXML_UtilityData* record) noexcept
{
    if (RecordPool* pool = record_pool())
        pool->give(record);
    else
        delete record;
}

// Where the facade's data operations act: the active node, which must exist.
DOM_Node& active_node(cXML_UtilityData& data, const char* missing)
{
    if (data.ActiveNode.isNull() || data.Document.isNull())
        fail(missing);
    return data.ActiveNode;
}

} // namespace

// ---- cXML_Utility: lifecycle --------------------------------------------------------

cXML_Utility::cXML_Utility() : pData(nullptr) {}

cXML_Utility::cXML_Utility(unsigned int mode) : pData(nullptr)
{
    Init(mode);
}

cXML_Utility::cXML_Utility(int mode) : pData(nullptr)
{
    Init(static_cast<unsigned int>(mode));
}

cXML_Utility::cXML_Utility(cXML_UtilityData* data) : pData(data) {}

cXML_Utility::cXML_Utility(const cXML_Utility& other) : pData(nullptr)
{
    if (other.pData)
        pData = copy_record(*other.pData);
}

cXML_Utility::~cXML_Utility()
{
    CleanUp();
}

cXML_Utility& cXML_Utility::operator=(const cXML_Utility& other)
{
    if (!other.pData)
        fail("cXML_Utility::operator= : operator failed to copy an empty class!");
    if (this == &other)
        return *this;
    // Copy first, so that a failure leaves this object as it was.
    cXML_UtilityData* copy = copy_record(*other.pData);
    CleanUp();
    pData = copy;
    return *this;
}

void cXML_Utility::Init(unsigned int mode)
{
    pData = new_record(mode, 0, DOM_Node(), DOM_Document());
}

void cXML_Utility::CleanUp()
{
    delete_record(pData);
    pData = nullptr;
}

bool cXML_Utility::Parse(const char* buffer, unsigned int length, bool validate)
{
    if (!pData || pData->uiMode != 0)
        return false;
    if (pData->bFromIterator != 0) {
        CleanUp();
        Init(0);
    }
    pData->Document = ParseBuffer(buffer, length, validate);
    pData->ActiveNode = pData->Document.getDocumentElement();
    return true;
}

bool cXML_Utility::Parse(const std::string& fileName, bool validate)
{
    if (!pData || pData->uiMode != 0)
        return false;
    if (pData->bFromIterator != 0) {
        CleanUp();
        Init(0);
    }
    pData->Document = ParseFile(fileName, validate);
    pData->ActiveNode = pData->Document.getDocumentElement();
    return true;
}

bool cXML_Utility::CreateDocument(const std::string& rootName)
{
    if (!pData || pData->uiMode != 1)
        return false;
    initialize_platform();
    ::CreateDocument(rootName, pData->Document, pData->ActiveNode);
    return true;
}

std::ostream& cXML_Utility::SaveToStream(std::ostream& out)
{
    if (!pData)
        fail("cXML_Utility::SaveToStream(): cannot save an empty class!");
    if (pData->Document.isNull())
        fail("cXML_Utility::SaveToStream(): cannot save a class without document!");
    out << static_cast<DOM_Node&>(pData->Document);
    return out;
}

void cXML_Utility::SaveToFile(const std::string& fileName, unsigned int)
{
    if (!pData)
        fail("cXML_Utility::SaveToFile(): cannot save an empty class!");
    // Checked before the file is opened, so that its content is not lost.
    if (pData->Document.isNull())
        fail("cXML_Utility::SaveToFile(): cannot save a class without document!");
    // SaveToFile reports nothing; TrySaveToFile is for callers that ask.
    (void)save_document(pData->Document, fileName);
}

bool cXML_Utility::TrySaveToFile(const std::string& fileName, std::string& reason)
{
    if (!pData)
        fail("cXML_Utility::TrySaveToFile(): cannot save an empty class!");
    if (pData->Document.isNull())
        fail("cXML_Utility::TrySaveToFile(): cannot save a class without document!");
    const replace_failure failure = save_document(pData->Document, fileName);
    reason = replace_failure_message(failure);
    return !failure;
}

// Deliberately true only for two empty objects: a loaded object is unequal to
// everything, itself included. The iterator's end test relies on it.
bool cXML_Utility::operator==(const cXML_Utility& other) const
{
    if (!pData && !other.pData)
        return true;
    return false;
}

bool cXML_Utility::operator==(const cXML_Utility& other)
{
    return static_cast<const cXML_Utility&>(*this) == other;
}

bool cXML_Utility::operator!=(const cXML_Utility& other)
{
    return !(*this == other);
}

// ---- cXML_Utility: navigation -------------------------------------------------------

std::string cXML_Utility::GetNodeName()
{
    if (!pData)
        fail("cXML_Utility::GetName(): cannot read a node from empty class!");
    return ::GetNodeName(pData->ActiveNode);
}

bool cXML_Utility::ActivateNode(const std::string& name)
{
    return static_cast<const cXML_Utility&>(*this).ActivateNode(name);
}

// The record lives behind pData, so the const form moves the active node too.
bool cXML_Utility::ActivateNode(const std::string& name) const
{
    if (!pData)
        return false;
    DOM_Node found = ::GetNodeByName(pData->ActiveNode, name);
    if (found.isNull())
        return false; // the record stays exactly as it was
    pData->NodeStack.push_back(pData->ActiveNode);
    pData->ActiveNode = found;
    return true;
}

bool cXML_Utility::DeactivateNode()
{
    return static_cast<const cXML_Utility&>(*this).DeactivateNode();
}

bool cXML_Utility::DeactivateNode() const
{
    if (!pData || pData->NodeStack.empty())
        return false;
    pData->ActiveNode = pData->NodeStack.back();
    pData->NodeStack.pop_back();
    return true;
}

namespace {

// Makes and appends the element; a missing node or document is reported in
// the operation's own words before anything changes.
DOM_Element new_child_element(cXML_UtilityData& data, const std::string& name, const char* format)
{
    DOM_Element element;
    if (!data.ActiveNode.isNull() && !data.Document.isNull())
        CreateNewElement(name, element, data.ActiveNode, data.Document);
    if (element.isNull())
        throw cTextException(format, name.c_str());
    return element;
}

} // namespace

void cXML_Utility::CreateAndActivateNewElement(const std::string& name)
{
    if (!pData)
        fail("cXML_Utility::CreateAndActivateNewElement(): cannot create a new element in empty class!");
    DOM_Element element = new_child_element(
        *pData, name, "cXML_Utility::CreateAndActivateNewElement(): failed to create new element! (%s)");
    // Pushed only after the element exists: a failure leaves no stray entry.
    pData->NodeStack.push_back(pData->ActiveNode);
    pData->ActiveNode = element;
}

cXML_Utility cXML_Utility::CreateNewElement(const std::string& name)
{
    if (!pData)
        fail("cXML_Utility::CreateNewElement(): cannot create a new element in empty class!");
    DOM_Element element =
        new_child_element(*pData, name, "cXML_Utility::CreateNewElement(): failed to create new element! (%s)");
    return cXML_Utility(new_record(pData->uiMode, pData->bFromIterator, element, pData->Document));
}

cXML_Utility cXML_Utility::GetNodeByName(const std::string& name) const
{
    if (!pData)
        fail("cXML_Utility::GetNodeByName(): cannot read a node from empty class!");
    // No test of the result: a miss gives an object with a null active node,
    // whose one stack entry leads back here.
    cXML_Utility result(new_record(pData->uiMode, pData->bFromIterator,
                                       ::GetNodeByName(pData->ActiveNode, name), pData->Document));
    result.pData->NodeStack.push_back(pData->ActiveNode);
    return result;
}

// ---- cXML_Utility: data and attributes ----------------------------------------------

void cXML_Utility::SaveNodeData(const std::string& name, const std::string& data)
{
    if (!pData)
        fail("cXML_Utility::SaveNodeData(): cannot save data to an empty class!");
    DOM_Node& node = active_node(*pData, "cXML_Utility::SaveNodeData(): cannot save data without an active node!");
    ::SaveNodeData(name, data, node, pData->Document);
}

void cXML_Utility::SaveDataToNode(const std::string& data)
{
    if (!pData)
        fail("cXML_Utility::SaveDataToNode(): cannot save data to an empty class!");
    DOM_Node& node =
        active_node(*pData, "cXML_Utility::SaveDataToNode(): cannot save data without an active node!");
    ::SaveDataToNode(data, node, pData->Document);
}

void cXML_Utility::SaveNodeAttribute(const std::string& name, const std::string& value)
{
    if (!pData)
        fail("cXML_Utility::SaveNodeAttribute(): cannot set an attribute to an empty class!");
    const char* missing = "cXML_Utility::SaveNodeAttribute(): cannot set an attribute without an active element!";
    DOM_Node& node = active_node(*pData, missing);
    if (node.getNodeType() != DOM_Node::ELEMENT_NODE)
        fail(missing);
    SetNodeAttribute(name, value, static_cast<DOM_Element&>(node));
}

bool cXML_Utility::ReadNodeAttribute(const std::string& name, std::string& value, std::string defaultValue) const
{
    if (!pData)
        fail("cXML_Utility::ReadNodeAttribute(): cannot read from empty class!");
    if (GetNamedAttributeValue(pData->ActiveNode, name, value))
        return true;
    value = std::move(defaultValue);
    return false;
}

bool cXML_Utility::ReadNodeData(std::string& data, std::string defaultValue) const
{
    if (!pData)
        fail("cXML_Utility::ReadNodeData(): cannot read from empty class!");
    return ::ReadNodeData(pData->ActiveNode, data, std::move(defaultValue));
}

// Reports an empty object with ReadNodeData's words, deliberately.
bool cXML_Utility::ReadNodeDataFrom(const std::string& name, std::string& data, std::string defaultValue) const
{
    if (!pData)
        fail("cXML_Utility::ReadNodeData(): cannot read from empty class!");
    return ::ReadNodeData(pData->ActiveNode, name, data, std::move(defaultValue));
}

void SaveNodeData(cXML_Utility& xml, const std::string& name, const std::string& data)
{
    xml.SaveNodeData(name, data);
}

void SaveDataToNode(cXML_Utility& xml, const std::string& data)
{
    xml.SaveDataToNode(data);
}

void SaveNodeAttribute(cXML_Utility& xml, const std::string& name, const std::string& value)
{
    xml.SaveNodeAttribute(name, value);
}

bool ReadNodeAttribute(const cXML_Utility& xml, const std::string& name, std::string& value, char* defaultValue)
{
    return xml.ReadNodeAttribute(name, value, std::string(defaultValue));
}

bool ReadNodeAttribute(const cXML_Utility& xml, const std::string& name, std::string& value,
                       std::string defaultValue)
{
    return xml.ReadNodeAttribute(name, value, std::move(defaultValue));
}

bool ReadNodeData(const cXML_Utility& xml, std::string& data, char* defaultValue)
{
    return xml.ReadNodeData(data, std::string(defaultValue));
}

bool ReadNodeData(const cXML_Utility& xml, std::string& data, std::string defaultValue)
{
    return xml.ReadNodeData(data, std::move(defaultValue));
}

bool ReadNodeData(const cXML_Utility& xml, const std::string& name, std::string& data, char* defaultValue)
{
    return xml.ReadNodeDataFrom(name, data, std::string(defaultValue));
}

bool ReadNodeData(const cXML_Utility& xml, const std::string& name, std::string& data, std::string defaultValue)
{
    return xml.ReadNodeDataFrom(name, data, std::move(defaultValue));
}

// ---- cXMLiterator -----------------------------------------------------------------------

cXMLiterator cXML_Utility::CreateIterator(const std::string& name)
{
    if (!pData)
        fail("cXML_Utility::CreateIterator(): cannot create iterator for empty class!");
    return cXMLiterator(*this, name);
}

cXMLiterator::cXMLiterator(const cXML_Utility& xml, const std::string& name) : pData(nullptr)
{
    if (!xml.pData)
        fail("cXMLiterator::cXMLiterator(...): cannot create iterator from empty class!");
    pData = new cXMLiteratorData;
    pData->Name = name;
    // A facade without active node gives a null list: the iterator is at its end.
    pData->ChildList = xml.pData->ActiveNode.getChildNodes();
    pData->Document = xml.pData->Document;
    FindNextNode();
}

cXMLiterator::cXMLiterator(const cXMLiterator& other) : pData(nullptr)
{
    if (other.pData)
        pData = new cXMLiteratorData(*other.pData);
}

cXMLiterator::~cXMLiterator()
{
    delete pData;
    pData = nullptr;
}

cXMLiterator& cXMLiterator::operator=(const cXMLiterator& other)
{
    if (!other.pData)
        fail("cXMLiterator::operator= : failed to copy empty iterator!");
    if (!pData)
        pData = new cXMLiteratorData;
    pData->ChildList = other.pData->ChildList;
    pData->Name = other.pData->Name;
    pData->uiPosition = other.pData->uiPosition;
    pData->Document = other.pData->Document;
    return *this;
}

cXMLiterator& cXMLiterator::operator++()
{
    if (!pData)
        fail("cXMLiterator::operator++(): failed to increment empty class!");
    ++pData->uiPosition;
    FindNextNode();
    return *this;
}

cXMLiterator cXMLiterator::operator++(int)
{
    if (!pData)
        fail("cXMLiterator::operator++(int): failed to increment empty class!");
    cXMLiterator before(*this);
    ++*this;
    return before;
}

cXML_Utility cXMLiterator::operator*()
{
    if (!pData)
        fail("cXMLiterator::operator*(): failed to get data from empty class!");
    return CreateXML_Utility();
}

cXML_Utility* cXMLiterator::operator->()
{
    if (!pData)
        fail("cXMLiterator::operator->(): failed to get data from empty class!");
    return nullptr; // deliberately no access: callers use operator*
}

bool cXMLiterator::end() const
{
    // Past the end exactly when there is no child at the position; asking
    // that way does not count the whole list.
    return !pData || pData->ChildList.item(pData->uiPosition).isNull();
}

// Equality tells whether both iterations are over, not where they stand:
// it compares the facades the two would hand out, which are equal only when
// both are empty.
bool cXMLiterator::operator==(cXMLiterator& other)
{
    if (!pData)
        fail("cXMLiterator::operator== : failed to compare empty classes!");
    cXML_Utility mine = CreateXML_Utility();
    if (other.pData) {
        cXML_Utility theirs = *other;
        return mine == theirs;
    }
    return mine == cXML_Utility();
}

bool cXMLiterator::operator!=(cXMLiterator& other)
{
    if (!pData)
        fail("cXMLiterator::operator!= : failed to compare empty classes!");
    cXML_Utility mine = CreateXML_Utility();
    if (other.pData) {
        cXML_Utility theirs = *other;
        return mine != theirs;
    }
    return !(mine == cXML_Utility());
}

void cXMLiterator::FindNextNode()
{
    if (!pData)
        return;
    NodeListImpl* children = HandleAccess::list_impl(pData->ChildList);
    if (!children)
        return;
    const std::string& name = pData->Name;
    // item() answers null exactly at and past the end of the list.
    while (xercesc::DOMNode* child = children->item(pData->uiPosition)) {
        const XMLCh* nodeName = child->getNodeName();
        // The "#" test comes after the name test, so a name that itself
        // starts with "#" never yields anything.
        const bool candidate = name.empty() || narrow_equals(nodeName, name.data(), name.size());
        if (candidate && nodeName[0] != u'#')
            return;
        ++pData->uiPosition;
    }
}

cXML_Utility cXMLiterator::CreateXML_Utility()
{
    if (!pData || pData->ChildList.item(pData->uiPosition).isNull())
        return cXML_Utility();
    return cXML_Utility(MakeXML_UtilityData());
}

cXML_UtilityData* cXMLiterator::MakeXML_UtilityData()
{
    if (!pData)
        return nullptr;
    return new_record(0, 1, pData->ChildList.item(pData->uiPosition), pData->Document);
}

// ---- Base64 codec -------------------------------------------------------------------

namespace {

// The 64 digits in value order, then the pad character, which thus has the
// value 64.
constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
static_assert(sizeof kBase64Alphabet == 66, "64 digits, the pad and the terminator");

} // namespace

// The alphabet behind the process-wide pointer the interface names. It is
// hidden (the attribute, and the version script), so nothing outside the
// library reaches it, and the library never re-points it; the encoder reads
// it on every call all the same.
__attribute__((visibility("hidden"))) char* cpBase64Encoding = const_cast<char*>(kBase64Alphabet);

namespace {

constexpr int kPad = 64;
// The position of the alphabet's terminator: what a search finds for a zero byte.
constexpr int kZeroByte = 65;
// What a character outside the alphabet reads as: the digit "A". A search of
// the alphabet finds nothing for it, so some fixed value has to be chosen;
// zero keeps such a character from shortening a group, and a trailing line
// break (a group of its own) still decodes to nothing.
constexpr int kOutsideAlphabet = 0;

// A character's value as a search of the alphabet would give it, for all 256
// bytes at once, in place of a search per character. Built from the constant
// alphabet that cpBase64Encoding points to, so it answers as a search through
// the pointer does.
struct ValueTable {
    std::uint8_t value[256];
};

constexpr ValueTable make_value_table()
{
    ValueTable table{};
    for (int byte = 0; byte < 256; ++byte)
        table.value[byte] = kOutsideAlphabet;
    for (int position = 0; position <= kPad; ++position)
        table.value[static_cast<unsigned char>(kBase64Alphabet[position])] = static_cast<std::uint8_t>(position);
    table.value[0] = kZeroByte;
    return table;
}

constexpr ValueTable kValues = make_value_table();

constexpr int value_of(char ch)
{
    return kValues.value[static_cast<unsigned char>(ch)];
}

static_assert(value_of('A') == 0 && value_of('/') == 63 && value_of('=') == kPad);
static_assert(value_of('\0') == kZeroByte);
static_assert(value_of(' ') == kOutsideAlphabet && value_of('\xFF') == kOutsideAlphabet);

// The three bytes a group decodes to, in the low 24 bits of a word whose
// storage order is the output order (little-endian), one table per position
// of the group. OR-ing the four entries gives each byte's low 8 bits exactly
// as the group formulas do, for every value up to 65. An entry for "=" in the
// second to fourth position also sets the top bit, which sends the group to
// the general formulas, the only ones that treat the value 64 specially.
struct GroupTables {
    std::uint32_t position[4][256];
};

constexpr std::uint32_t kPadInGroup = 0x80000000u;

constexpr GroupTables make_group_tables()
{
    GroupTables tables{};
    for (int byte = 0; byte < 256; ++byte) {
        const std::uint32_t c = kValues.value[byte];
        tables.position[0][byte] = (c * 4) & 0xFF;
        tables.position[1][byte] = ((c >> 4) & 0xFF) | (((c * 16) & 0xFF) << 8);
        tables.position[2][byte] = (((c >> 2) & 0xFF) << 8) | (((c * 64) & 0xFF) << 16);
        tables.position[3][byte] = (c & 0xFF) << 16;
        if (c == kPad) {
            tables.position[1][byte] |= kPadInGroup;
            tables.position[2][byte] |= kPadInGroup;
            tables.position[3][byte] |= kPadInGroup;
        }
    }
    return tables;
}

constexpr GroupTables kGroups = make_group_tables();

constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

struct DecodedGroup {
    unsigned char bytes[3];
    int count;
};

// The general group formulas, with 64 meaning "no bits" from the second
// position on; the first position uses 64 as the number it is.
DecodedGroup decode_group(int c1, int c2, int c3, int c4)
{
    DecodedGroup group;
    group.bytes[0] = static_cast<unsigned char>(c1 * 4 | (c2 != kPad ? c2 >> 4 : 0));
    group.bytes[1] = static_cast<unsigned char>((c2 != kPad ? c2 * 16 : 0) | (c3 != kPad ? c3 >> 2 : 0));
    group.bytes[2] = static_cast<unsigned char>((c4 != kPad ? c4 : 0) | (c3 != kPad ? c3 * 64 : 0));
    // Deliberate: a group that ends in a pad, or is short, keeps only its
    // leading non-zero bytes, whatever the number of pads.
    if (c4 != kPad)
        group.count = 3;
    else if (group.bytes[0] == 0)
        group.count = 0;
    else if (group.bytes[1] == 0)
        group.count = 1;
    else
        group.count = group.bytes[2] == 0 ? 2 : 3;
    return group;
}

inline void store_group(unsigned char* output, std::uint32_t word)
{
    if constexpr (kLittleEndian) {
        std::memcpy(output, &word, 4);
    } else {
        output[0] = static_cast<unsigned char>(word);
        output[1] = static_cast<unsigned char>(word >> 8);
        output[2] = static_cast<unsigned char>(word >> 16);
    }
}

// The four characters of one group of 1 to 3 bytes; a missing byte adds zero
// bits and a missing sextet is the pad character.
inline void encode_group(const unsigned char* input, int count, const char* alphabet, char* text)
{
    const unsigned int bits = static_cast<unsigned int>(input[0]) << 16
        | (count > 1 ? static_cast<unsigned int>(input[1]) << 8 : 0) | (count > 2 ? input[2] : 0);
    text[0] = alphabet[bits >> 18];
    text[1] = alphabet[(bits >> 12) & 63];
    text[2] = count > 1 ? alphabet[(bits >> 6) & 63] : alphabet[kPad];
    text[3] = count > 2 ? alphabet[bits & 63] : alphabet[kPad];
}

} // namespace

int Base64Encode(char* input, int length, char* output, int& size)
{
    const int capacity = size;
    if (capacity < length)
        return -1;
    // A negative length is not guarded; it encodes like an empty input.
    if (length <= 0) {
        if (capacity > 0)
            output[0] = '\0';
        size = 0;
        return 0;
    }

    const char* const alphabet = cpBase64Encoding;
    const auto* in = reinterpret_cast<const unsigned char*>(input);
    const std::int64_t groups = (static_cast<std::int64_t>(length) + 2) / 3;
    // The margin is the codec's own: after each group at least 5 bytes must
    // remain, so success needs the text, its zero byte and four bytes more.
    const bool fits = capacity >= 4 * groups + 5;
    if (capacity < 5) {
        // The first group is written before any margin test; keep the part
        // of it that fits. Its zero byte would be the fifth byte.
        char text[4];
        encode_group(in, std::min(length, 3), alphabet, text);
        std::memcpy(output, text, static_cast<std::size_t>(capacity));
        return -1;
    }
    // On failure, the groups up to the first whose test fails are kept.
    const std::int64_t written = fits ? groups : (capacity - 5) / 4 + 1;
    const std::int64_t triples = std::min<std::int64_t>(written, length / 3);

    char* out = output;
    for (std::int64_t i = 0; i < triples; ++i) {
        const unsigned int bits = static_cast<unsigned int>(in[0]) << 16 | static_cast<unsigned int>(in[1]) << 8
            | in[2];
        out[0] = alphabet[bits >> 18];
        out[1] = alphabet[(bits >> 12) & 63];
        out[2] = alphabet[(bits >> 6) & 63];
        out[3] = alphabet[bits & 63];
        in += 3;
        out += 4;
    }
    if (written > triples) {
        encode_group(in, length % 3, alphabet, out);
        out += 4;
    }
    *out = '\0';
    if (!fits)
        return -1;
    size = static_cast<int>(out - output);
    return 0;
}

int Base64Decode(char* input, int length, char* output, int& size)
{
    const int capacity = size;
    if (capacity < length)
        return -1;
    if (length <= 0) {
        if (capacity > 0)
            output[0] = '\0';
        size = 0;
        return 0;
    }

    const auto* in = reinterpret_cast<const unsigned char*>(input);
    auto* out = reinterpret_cast<unsigned char*>(output);
    const int groups = (length - 1) / 4 + 1;
    std::size_t position = 0;
    // Every group but the last has four characters, and its writes, a fourth
    // byte of the store included, end before the text length and so inside
    // the capacity. The fourth byte is overwritten by the next group.
    for (int i = 0; i < groups - 1; ++i, in += 4) {
        const std::uint32_t word = kGroups.position[0][in[0]] | kGroups.position[1][in[1]]
            | kGroups.position[2][in[2]] | kGroups.position[3][in[3]];
        if ((word & kPadInGroup) == 0) {
            store_group(out + position, word);
            position += 3;
            continue;
        }
        const DecodedGroup group
            = decode_group(kValues.value[in[0]], kValues.value[in[1]], kValues.value[in[2]], kValues.value[in[3]]);
        std::memcpy(out + position, group.bytes, 3);
        position += static_cast<std::size_t>(group.count);
    }

    // Positions past the end of the text read as pads. Only this group and
    // the zero byte can reach past the capacity; those writes are dropped.
    const int rest = length - 4 * (groups - 1);
    const DecodedGroup group = decode_group(kValues.value[in[0]], rest > 1 ? kValues.value[in[1]] : kPad,
        rest > 2 ? kValues.value[in[2]] : kPad, rest > 3 ? kValues.value[in[3]] : kPad);
    const auto room = static_cast<std::size_t>(capacity);
    std::memcpy(out + position, group.bytes, std::min<std::size_t>(3, room - position));
    position += static_cast<std::size_t>(group.count);
    if (position < room)
        out[position] = '\0';
    size = static_cast<int>(position);
    return 0;
}

namespace {

// The longest input whose text and zero byte fit an int capacity: the codec
// needs 4 * ceil(n / 3) + 5 bytes, and INT_MAX allows ceil(n / 3) up to
// 536,870,910 groups.
constexpr std::int64_t kLongestEncodable = 3 * ((static_cast<std::int64_t>(INT_MAX) - 5) / 4);

// Encodes into a string of the text's own size instead of a scratch array of
// ten bytes per input byte: the codec's result is the same whenever the
// larger capacity it was given would have sufficed, and `capacity` (what the
// conversion would have offered) decides that beforehand.
bool encode_into(const char* data, int length, std::int64_t capacity, std::string& text)
{
    if (length < 0 || capacity < length)
        return false;
    if (length == 0) {
        text.clear();
        return true;
    }
    const std::int64_t needed = 4 * ((static_cast<std::int64_t>(length) + 2) / 3) + 5;
    if (needed > std::min<std::int64_t>(capacity, INT_MAX))
        return false;
    std::string encoded(static_cast<std::size_t>(needed), '\0');
    int size = static_cast<int>(needed);
    // The codec only reads its input; its signature predates const.
    if (Base64Encode(const_cast<char*>(data), length, encoded.data(), size) != 0)
        return false;
    encoded.resize(static_cast<std::size_t>(size));
    text.swap(encoded);
    return true;
}

} // namespace

static_assert(kLongestEncodable == 1610612730, "the limit documented in xmlutil.h");

bool ConvertBinaryToBase64(char* data, int length, std::string& text)
{
    // The conversion offers ten bytes per input byte and no extra byte for
    // the terminator, unlike ConvertStringToBase64; both are ample.
    return encode_into(data, length, static_cast<std::int64_t>(length) * 10, text);
}

bool ConvertStringToBase64(std::string& text)
{
    if (text.size() > static_cast<std::size_t>(INT_MAX))
        return false;
    const int length = static_cast<int>(text.size());
    // Zero bytes inside the string are encoded like any other byte. The new
    // text is built beside the old one and swapped in, so a failure leaves
    // the string as it was.
    return encode_into(text.data(), length, static_cast<std::int64_t>(length) * 10 + 1, text);
}

bool ConvertBase64ToBinary(std::string text, char* buffer, int& size)
{
    if (size > 0)
        std::memset(buffer, 0, static_cast<std::size_t>(size));
    // A text longer than any int capacity fails like any text longer than
    // the capacity.
    if (text.size() > static_cast<std::size_t>(INT_MAX))
        return false;
    return Base64Decode(text.data(), static_cast<int>(text.size()), buffer, size) == 0;
}

bool ConvertBase64ToString(std::string& text)
{
    if (text.size() > static_cast<std::size_t>(INT_MAX))
        return false;
    const int length = static_cast<int>(text.size());
    // Decoded in place: group i is read from bytes 4i..4i+3 before its bytes
    // land at 3i..3i+3, so the decoder never overwrites text it has yet to
    // read, and no second copy of the data is needed. Texts of up to 12
    // characters can decode to 3 bytes per started group plus the zero byte,
    // more than their own length; they get room for that first.
    const int groups = length == 0 ? 0 : (length - 1) / 4 + 1;
    int capacity = std::max(length, 3 * groups + 1);
    text.resize(static_cast<std::size_t>(capacity));
    // With a capacity of at least the text length the decoder cannot fail.
    Base64Decode(text.data(), length, text.data(), capacity);
    // Meant for text: decoded data ends at its first zero byte.
    text.resize(std::strlen(text.c_str()));
    return true;
}
