// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"
#include "mem_counts.h"

#include <xercesc/framework/MemoryManager.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace xmlutil_detail {

char* narrow_into(const XMLCh* text, std::size_t length, char* dest) noexcept
{
    for (std::size_t i = 0; i < length && text[i] != 0; ++i)
        *dest++ = narrow_char(text, i, length);
    return dest;
}

void narrow_append(const XMLCh* text, std::size_t length, std::string& out)
{
    if (!text || length == 0)
        return;
    // Sized once and written in place: this runs for every text read.
    const std::size_t start = out.size();
    out.resize(start + length);
    char* end = narrow_into(text, length, &out[start]);
    out.resize(static_cast<std::size_t>(end - out.data()));
}

void assign_narrow(const XMLCh* text, std::string& out)
{
    out.clear();
    if (text)
        narrow_append(text, std::char_traits<char16_t>::length(text), out);
}

const XMLCh* attribute_value(const xercesc::DOMNode* attribute)
{
    // The usual attribute holds one text node. Reading it directly spares the
    // dynamic_cast with which Xerces-C 3.2 starts its general answer.
    const xercesc::DOMNode* first = attribute->getFirstChild();
    if (!first)
        return u"";
    if (first->getNodeType() == xercesc::DOMNode::TEXT_NODE && !first->getNextSibling())
        return first->getNodeValue();
    return attribute->getNodeValue();
}

std::string narrow(const XMLCh* text)
{
    std::string out;
    assign_narrow(text, out);
    return out;
}

bool narrow_equals(const XMLCh* text, const char* bytes, std::size_t length) noexcept
{
    if (!text)
        return length == 0;
    const std::size_t units = std::char_traits<char16_t>::length(text);
    std::size_t matched = 0;
    for (std::size_t i = 0; i < units; ++i) {
        if (matched == length || narrow_char(text, i, units) != bytes[matched])
            return false;
        ++matched;
    }
    return matched == length;
}

std::u16string widen(const char* text, std::size_t length)
{
    std::u16string out(length, u'\0');
    for (std::size_t i = 0; i < length; ++i)
        out[i] = static_cast<unsigned char>(text[i]);
    return out;
}

WideText::WideText(const char* text) : fData(fInline), fSize(text ? std::strlen(text) : 0)
{
    XMLCh* dest = fInline;
    if (fSize >= kInline) {
        fHeap.reset(new XMLCh[fSize + 1]);
        dest = fHeap.get();
        fData = dest;
    }
    for (std::size_t i = 0; i < fSize; ++i)
        dest[i] = static_cast<unsigned char>(text[i]);
    dest[fSize] = 0;
}

bool equal_text(const XMLCh* a, const XMLCh* b) noexcept
{
    if (!a || !b)
        return (a ? *a : 0) == (b ? *b : 0);
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

} // namespace xmlutil_detail

// ---- handles and buffers ----------------------------------------------------
//
// A string read from a node is made once and rarely changed, so a new string
// is one allocation: the handle with its first buffer right behind it. The
// handle keeps a reference on that buffer for as long as it lives (its
// "residence"), even after it moved to a bigger or private buffer, because
// the memory is freed as one block: when the last reference to the first
// buffer goes, which is never before the handle itself.
//
// Buffers always end in a zero after the handle's length, and a buffer is
// written only by the one handle that uses it alone (reference count 1):
// every change of a shared buffer copies it first. So handles that share a
// buffer always have the same length, and rawBuffer writes nothing.

namespace xmlutil_detail {

struct StringBuffer {
    std::atomic<int> refs;
    unsigned int capacity; // units, without the final zero
    bool first;            // lives right behind its handle, in one block
    XMLCh* chars() noexcept { return reinterpret_cast<XMLCh*>(this + 1); }
};

struct StringHandle {
    std::atomic<int> refs;
    unsigned int length;
    StringBuffer* buffer;
    bool block; // made with its first buffer behind it
    StringBuffer* first() noexcept { return reinterpret_cast<StringBuffer*>(this + 1); }
    XMLCh* chars() noexcept { return buffer->chars(); }
};

static_assert(sizeof(StringHandle) % alignof(StringBuffer) == 0, "the first buffer follows its handle");
static_assert(sizeof(StringBuffer) % alignof(XMLCh) == 0, "the characters follow their buffer");

struct StringAccess {
    static StringHandle* handle(const DOMString& s) noexcept { return s.fHandle; }
    static DOMString adopt(StringHandle* handle) noexcept
    {
        DOMString s;
        s.fHandle = handle;
        return s;
    }
    static void rebind(DOMString& s, StringHandle* handle) noexcept;
};

namespace {

void* allocate(std::size_t bytes)
{
    void* memory = std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

std::size_t buffer_bytes(unsigned int capacity) noexcept
{
    return sizeof(StringBuffer) + (static_cast<std::size_t>(capacity) + 1) * sizeof(XMLCh);
}

// A new handle of `length` units with a first buffer of `capacity` units,
// filled from `text` (which may be null when `length` is 0).
StringHandle* new_string(const XMLCh* text, unsigned int length, unsigned int capacity)
{
    void* memory = allocate(sizeof(StringHandle) + buffer_bytes(capacity));
    auto* handle = static_cast<StringHandle*>(memory);
    auto* buffer = new (handle + 1) StringBuffer{{1}, capacity, true};
    new (handle) StringHandle{{1}, length, buffer, true};
    if (length)
        std::memcpy(buffer->chars(), text, length * sizeof(XMLCh));
    buffer->chars()[length] = 0;
    count(memory_counts.newStrings);
    return handle;
}

StringBuffer* new_buffer(unsigned int capacity)
{
    void* memory = allocate(buffer_bytes(capacity));
    auto* buffer = new (memory) StringBuffer{{1}, capacity, false};
    count(memory_counts.newBuffers);
    return buffer;
}

// Drops one reference. A count of 1 seen by its holder cannot change under
// it, which spares the atomic subtraction on the common, unshared path.
bool drop(std::atomic<int>& refs) noexcept
{
    return refs.load(std::memory_order_acquire) == 1 || refs.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

void release_buffer(StringBuffer* buffer) noexcept
{
    if (!drop(buffer->refs))
        return;
    count(memory_counts.freedBuffers);
    // A first buffer outlived its handle (a clone held it): the block goes.
    std::free(buffer->first ? static_cast<void*>(reinterpret_cast<StringHandle*>(buffer) - 1) : buffer);
}

void free_handle(StringHandle* handle) noexcept
{
    if (!handle->block) {
        release_buffer(handle->buffer);
        count(memory_counts.freedHandles);
        std::free(handle);
        return;
    }
    StringBuffer* first = handle->first();
    if (handle->buffer != first)
        release_buffer(handle->buffer);
    if (drop(first->refs)) {
        count(memory_counts.freedStrings);
        std::free(handle);
    } else {
        // Clones still read the first buffer; the last of them frees the block.
        count(memory_counts.freedHandles);
    }
}

void retain_string(StringHandle* handle) noexcept
{
    if (handle)
        handle->refs.fetch_add(1, std::memory_order_relaxed);
}

void release_string(StringHandle* handle) noexcept
{
    if (handle && drop(handle->refs))
        free_handle(handle);
}

// A new handle on `handle`'s characters, sharing its buffer.
StringHandle* clone_handle(StringHandle* handle)
{
    void* memory = allocate(sizeof(StringHandle));
    handle->buffer->refs.fetch_add(1, std::memory_order_relaxed);
    count(memory_counts.clonedHandles);
    return new (memory) StringHandle{{1}, handle->length, handle->buffer, false};
}

bool shared(const StringBuffer* buffer) noexcept
{
    return buffer->refs.load(std::memory_order_acquire) != 1;
}

// Room for a string that grows to `needed` units: half as much again, so
// that appending unit by unit stays linear.
unsigned int grown(unsigned int needed) noexcept
{
    const unsigned long long wanted = needed + needed / 2ull + 8;
    return wanted > 0xFFFFFFF0u ? needed : static_cast<unsigned int>(wanted);
}

// A buffer a handle gave up, released at the end of the edit: until then
// the characters read from it stay valid (a self-append reads them).
struct Retired {
    StringBuffer* buffer = nullptr;
    Retired() = default;
    Retired(const Retired&) = delete;
    Retired& operator=(const Retired&) = delete;
    ~Retired()
    {
        if (buffer)
            release_buffer(buffer);
    }
};

// The handle's buffer made private, with room for `needed` units; the
// characters up to its length are kept.
XMLCh* writable(StringHandle* handle, unsigned int needed, Retired& retired)
{
    StringBuffer* old = handle->buffer;
    const bool isShared = shared(old);
    if (!isShared && old->capacity >= needed)
        return old->chars();
    // A private copy of a shared buffer keeps its size; a growing one gets room.
    StringBuffer* fresh = new_buffer(isShared && old->capacity >= needed ? needed : grown(needed));
    std::memcpy(fresh->chars(), old->chars(), handle->length * sizeof(XMLCh));
    fresh->chars()[handle->length] = 0;
    handle->buffer = fresh;
    // The first buffer stays referenced by its handle until the block goes.
    if (!(handle->block && old == handle->first()))
        retired.buffer = old;
    return fresh->chars();
}

[[noreturn]] void index_size_error()
{
    // The classic DOMString throws with a null message.
    throw DOM_DOMException(DOM_DOMException::INDEX_SIZE_ERR, DOMString());
}

unsigned int units_of(const XMLCh* text) noexcept
{
    return text ? static_cast<unsigned int>(std::char_traits<XMLCh>::length(text)) : 0;
}

const XMLCh* chars_of(StringHandle* handle) noexcept
{
    return handle ? handle->chars() : nullptr;
}

unsigned int length_of(const StringHandle* handle) noexcept
{
    return handle ? handle->length : 0;
}

// Appends `count` units at `text` to the string `s`, with the classic
// rebinding of a null string and of an empty one that has too little room.
// `text` may point into the string's own buffer.
void append_units(DOMString& s, const XMLCh* text, unsigned int count, StringHandle* source)
{
    if (count == 0)
        return;
    StringHandle* handle = StringAccess::handle(s);
    if (!handle || (handle->length == 0 && handle->buffer->capacity < count)) {
        StringAccess::rebind(s, source ? clone_handle(source) : new_string(text, count, count));
        return;
    }
    const unsigned int length = handle->length;
    if (0xFFFFFFFEu - length < count)
        throw std::bad_alloc();
    Retired retired;
    XMLCh* chars = writable(handle, length + count, retired);
    std::memmove(chars + length, text, count * sizeof(XMLCh));
    chars[length + count] = 0;
    handle->length = length + count;
}

} // namespace

void StringAccess::rebind(DOMString& s, StringHandle* handle) noexcept
{
    release_string(s.fHandle);
    s.fHandle = handle;
}

} // namespace xmlutil_detail

using namespace xmlutil_detail;

// ---- DOMString --------------------------------------------------------------------

DOMString::DOMString(int) noexcept : fHandle(nullptr) {}

DOMString::DOMString(const XMLCh* text) : fHandle(nullptr)
{
    const unsigned int length = units_of(text);
    if (length)
        fHandle = new_string(text, length, length);
}

DOMString::DOMString(const XMLCh* text, unsigned int length) : fHandle(nullptr)
{
    if (text && length)
        fHandle = new_string(text, length, length);
}

DOMString::DOMString(const char* text) : fHandle(nullptr)
{
    const std::size_t bytes = text ? std::strlen(text) : 0;
    if (bytes == 0)
        return;
    if (bytes > 0xFFFFFFFEu)
        throw std::bad_alloc();
    const auto length = static_cast<unsigned int>(bytes);
    fHandle = new_string(nullptr, 0, length);
    XMLCh* chars = fHandle->chars();
    for (unsigned int i = 0; i < length; ++i)
        chars[i] = static_cast<unsigned char>(text[i]);
    chars[length] = 0;
    fHandle->length = length;
}

DOMString::DOMString(const DOMString& other) noexcept : fHandle(other.fHandle)
{
    retain_string(fHandle);
}

DOMString::~DOMString()
{
    release_string(fHandle);
}

DOMString& DOMString::operator=(const DOMString& other) noexcept
{
    if (fHandle != other.fHandle) {
        retain_string(other.fHandle);
        release_string(fHandle);
        fHandle = other.fHandle;
    }
    return *this;
}

DOMString& DOMString::operator=(DOMString&& other) noexcept
{
    if (this != &other) {
        release_string(fHandle);
        fHandle = other.fHandle;
        other.fHandle = nullptr;
    }
    return *this;
}

DOMString& DOMString::operator=(DOM_NullPtr*) noexcept
{
    release_string(fHandle);
    fHandle = nullptr;
    return *this;
}

unsigned int DOMString::length() const noexcept
{
    return length_of(fHandle);
}

const XMLCh* DOMString::rawBuffer() const noexcept
{
    return chars_of(fHandle);
}

XMLCh DOMString::charAt(unsigned int index) const noexcept
{
    return index < length_of(fHandle) ? fHandle->chars()[index] : 0;
}

bool DOMString::equals(const DOMString& other) const noexcept
{
    const unsigned int length = length_of(fHandle);
    if (length != length_of(other.fHandle))
        return false;
    return length == 0 || fHandle->buffer == other.fHandle->buffer ||
           std::memcmp(fHandle->chars(), other.fHandle->chars(), length * sizeof(XMLCh)) == 0;
}

bool DOMString::equals(const XMLCh* other) const noexcept
{
    const unsigned int length = length_of(fHandle);
    if (length != units_of(other))
        return false;
    return length == 0 || std::memcmp(fHandle->chars(), other, length * sizeof(XMLCh)) == 0;
}

int DOMString::compareString(const DOMString& other) const noexcept
{
    const unsigned int length = length_of(fHandle);
    const unsigned int otherLength = length_of(other.fHandle);
    if (length != otherLength)
        return length < otherLength ? -1 : 1;
    const XMLCh* a = chars_of(fHandle);
    const XMLCh* b = chars_of(other.fHandle);
    for (unsigned int i = 0; i < length; ++i) {
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    }
    return 0;
}

void DOMString::reserve(unsigned int size)
{
    if (!fHandle && size > 0)
        fHandle = new_string(nullptr, 0, size);
}

void DOMString::appendData(const DOMString& other)
{
    StringHandle* source = other.fHandle;
    append_units(*this, chars_of(source), length_of(source), source);
}

void DOMString::appendData(XMLCh ch)
{
    append_units(*this, &ch, 1, nullptr);
}

void DOMString::appendData(const XMLCh* other)
{
    append_units(*this, other, units_of(other), nullptr);
}

DOMString& DOMString::operator+=(const DOMString& other)
{
    appendData(other);
    return *this;
}

DOMString& DOMString::operator+=(const XMLCh* other)
{
    appendData(other);
    return *this;
}

DOMString& DOMString::operator+=(XMLCh ch)
{
    appendData(ch);
    return *this;
}

void DOMString::deleteData(unsigned int offset, unsigned int count)
{
    const unsigned int length = length_of(fHandle);
    if (offset > length)
        index_size_error();
    const unsigned int removed = std::min(count, length - offset);
    if (removed == 0)
        return;
    Retired retired;
    XMLCh* chars = writable(fHandle, length, retired);
    std::memmove(chars + offset, chars + offset + removed, (length - offset - removed) * sizeof(XMLCh));
    fHandle->length = length - removed;
    chars[fHandle->length] = 0;
}

void DOMString::insertData(unsigned int offset, const DOMString& data)
{
    const unsigned int length = length_of(fHandle);
    if (offset > length)
        index_size_error();
    StringHandle* source = data.fHandle;
    const unsigned int count = length_of(source);
    if (count == 0)
        return;
    if (!fHandle) {
        fHandle = clone_handle(source);
        return;
    }
    if (0xFFFFFFFEu - length < count)
        throw std::bad_alloc();
    // Units inserted from this very buffer are copied first: the move of
    // the tail would overwrite them.
    std::u16string own;
    const XMLCh* inserted = source->chars();
    if (source->buffer == fHandle->buffer) {
        own.assign(inserted, count);
        inserted = own.data();
    }
    Retired retired;
    XMLCh* chars = writable(fHandle, length + count, retired);
    std::memmove(chars + offset + count, chars + offset, (length - offset) * sizeof(XMLCh));
    std::memcpy(chars + offset, inserted, count * sizeof(XMLCh));
    fHandle->length = length + count;
    chars[fHandle->length] = 0;
}

char* DOMString::transcode() const
{
    const unsigned int length = length_of(fHandle);
    char* bytes = new char[length + 1];
    char* end = length ? narrow_into(fHandle->chars(), length, bytes) : bytes;
    *end = 0;
    return bytes;
}

char* DOMString::transcode(xercesc::MemoryManager* const manager) const
{
    const unsigned int length = length_of(fHandle);
    char* bytes = static_cast<char*>(manager->allocate(length + 1));
    char* end = length ? narrow_into(fHandle->chars(), length, bytes) : bytes;
    *end = 0;
    return bytes;
}

DOMString DOMString::transcode(const char* text)
{
    return DOMString(text);
}

DOMString DOMString::substringData(unsigned int offset, unsigned int count) const
{
    const unsigned int length = length_of(fHandle);
    if (offset > length)
        index_size_error();
    const unsigned int taken = std::min(count, length - offset);
    if (taken == 0)
        return DOMString();
    return DOMString(fHandle->chars() + offset, taken);
}

DOMString DOMString::clone() const
{
    return fHandle ? StringAccess::adopt(clone_handle(fHandle)) : DOMString();
}

void DOMString::print() const
{
    if (length_of(fHandle) == 0)
        return;
    const std::unique_ptr<char[]> bytes(transcode());
    std::fputs(bytes.get(), stdout);
}

void DOMString::println() const
{
    print();
    std::fputc('\n', stdout);
}

DOMString operator+(const DOMString& lhs, const DOMString& rhs)
{
    DOMString sum = lhs.clone();
    sum.appendData(rhs);
    return sum;
}

DOMString operator+(const DOMString& lhs, const XMLCh* rhs)
{
    DOMString sum = lhs.clone();
    sum.appendData(rhs);
    return sum;
}

DOMString operator+(const XMLCh* lhs, const DOMString& rhs)
{
    DOMString sum(lhs);
    sum.appendData(rhs);
    return sum;
}

DOMString operator+(const DOMString& lhs, XMLCh rhs)
{
    DOMString sum = lhs.clone();
    sum.appendData(rhs);
    return sum;
}

DOMString operator+(XMLCh lhs, const DOMString& rhs)
{
    DOMString sum(&lhs, 1);
    sum.appendData(rhs);
    return sum;
}
