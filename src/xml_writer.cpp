#include "internal.h"

#include <algorithm>
#include <cctype>

namespace xmlutil_detail {

bool NotSpace::operator()(char c) const noexcept
{
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x80)
        return !(byte == 0x20 || (byte >= 0x09 && byte <= 0x0D));
    return std::isspace(byte) == 0;
}

} // namespace xmlutil_detail

using xmlutil_detail::NotSpace;

void TrimLeft(std::string& text)
{
    if (text.empty())
        return;
    const auto first = std::find_if(text.begin(), text.end(), NotSpace());
    if (first != text.begin())
        text.erase(text.begin(), first);
}

void TrimRight(std::string& text)
{
    if (text.empty())
        return;
    const auto last = std::find_if(text.rbegin(), text.rend(), NotSpace());
    if (last != text.rbegin())
        text.erase(last.base(), text.end());
}

void Trim(std::string& text)
{
    TrimLeft(text);
    TrimRight(text);
}

void FindAndRepleace(std::string& text, char ch, std::string replacement)
{
    std::string result;
    std::string::size_type start = 0;
    std::string::size_type found;
    // The search runs over the input only, so a replacement holding `ch` is
    // never replaced again.
    while ((found = text.find(ch, start)) != std::string::npos) {
        result.append(text, start, found - start);
        result += replacement;
        start = found + 1;
    }
    // Deliberately tested before the tail is added: an empty replacement of
    // a run at the very start leaves the text as it was.
    if (result.empty())
        return;
    result.append(text, start, std::string::npos);
    text = std::move(result);
}
