#include "internal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <streambuf>

using namespace xmlutil_detail;

namespace {

[[noreturn]] void fail(const char* message)
{
    throw cTextException("%s", message);
}

// A file written in large blocks. Flushing costs nothing, so the writer's
// std::endl after every line does not become a system call per line; the
// bytes are the same. Failures are not reported, as SaveToFile promises.
class BlockFileBuffer : public std::streambuf {
public:
    explicit BlockFileBuffer(const std::string& fileName)
        : fFile(::open(fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))
    {
        if (fFile >= 0) {
            fBuffer.reset(new char[kSize]);
            setp(fBuffer.get(), fBuffer.get() + kSize);
        }
    }
    BlockFileBuffer(const BlockFileBuffer&) = delete;
    BlockFileBuffer& operator=(const BlockFileBuffer&) = delete;
    ~BlockFileBuffer() override { close(); }

    void close()
    {
        if (fFile < 0)
            return;
        write_out();
        ::close(fFile);
        fFile = -1;
    }

protected:
    int_type overflow(int_type ch) override
    {
        if (fFile < 0)
            return traits_type::eof();
        write_out();
        if (!traits_type::eq_int_type(ch, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(ch);
            pbump(1);
        }
        return traits_type::not_eof(ch);
    }

    int sync() override { return 0; }

private:
    static constexpr std::size_t kSize = std::size_t{1} << 20;

    void write_out()
    {
        const char* data = pbase();
        std::size_t left = static_cast<std::size_t>(pptr() - pbase());
        while (left > 0) {
            const ssize_t written = ::write(fFile, data, left);
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                break;
            data += written;
            left -= static_cast<std::size_t>(written);
        }
        setp(fBuffer.get(), fBuffer.get() + kSize);
    }

    int fFile;
    std::unique_ptr<char[]> fBuffer;
};

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
        pData = new cXML_UtilityData(*other.pData);
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
    std::unique_ptr<cXML_UtilityData> copy(new cXML_UtilityData(*other.pData));
    CleanUp();
    pData = copy.release();
    return *this;
}

void cXML_Utility::Init(unsigned int mode)
{
    pData = new cXML_UtilityData(mode, 0, DOM_Node(), DOM_Document(), std::deque<DOM_Node>());
}

void cXML_Utility::CleanUp()
{
    delete pData;
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
    BlockFileBuffer file(fileName);
    std::ostream out(&file);
    out << static_cast<DOM_Node&>(pData->Document);
    file.close();
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
    return cXML_Utility(new cXML_UtilityData(pData->uiMode, pData->bFromIterator, element, pData->Document,
                                             std::deque<DOM_Node>()));
}

cXML_Utility cXML_Utility::GetNodeByName(const std::string& name) const
{
    if (!pData)
        fail("cXML_Utility::GetNodeByName(): cannot read a node from empty class!");
    // No test of the result: a miss gives an object with a null active node,
    // whose one stack entry leads back here.
    return cXML_Utility(new cXML_UtilityData(pData->uiMode, pData->bFromIterator,
                                             ::GetNodeByName(pData->ActiveNode, name), pData->Document,
                                             std::deque<DOM_Node>(1, pData->ActiveNode)));
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
    FindNextNode();
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
    return !pData || pData->uiPosition >= pData->ChildList.getLength();
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
    while (pData->uiPosition < children->length()) {
        const XMLCh* nodeName = children->item(pData->uiPosition)->getNodeName();
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
    return new cXML_UtilityData(0, 1, pData->ChildList.item(pData->uiPosition), pData->Document,
                                std::deque<DOM_Node>());
}
