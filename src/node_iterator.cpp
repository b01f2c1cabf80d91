// SPDX-License-Identifier: Apache-2.0
#include "internal.h"

using namespace xmlutil_detail;

cNodeIterator::cNodeIterator(const DOM_Node& parent, const std::string& name)
    : uiPosition(0), Name(name), Children(parent.getChildNodes())
{
    FindNextNode();
}

cNodeIterator::cNodeIterator(const cNodeIterator& other) = default;

cNodeIterator& cNodeIterator::operator=(const cNodeIterator& other)
{
    Children = other.Children;
    Name = other.Name;
    uiPosition = other.uiPosition;
    return *this;
}

DOM_Node cNodeIterator::operator*() const
{
    return Children.item(uiPosition);
}

DOM_Node* cNodeIterator::operator->()
{
    return nullptr; // deliberately no access: callers use operator*
}

bool cNodeIterator::operator==(const cNodeIterator& other) const
{
    return **this == *other;
}

bool cNodeIterator::operator!=(cNodeIterator other) const
{
    return **this != *other;
}

bool cNodeIterator::operator!=(const DOM_Node& node) const
{
    return **this != node;
}

cNodeIterator& cNodeIterator::operator++()
{
    ++uiPosition;
    FindNextNode();
    return *this;
}

cNodeIterator cNodeIterator::operator++(int)
{
    cNodeIterator before(*this);
    ++*this;
    return before;
}

cNodeIterator& cNodeIterator::operator--()
{
    // Deliberately one child back with no search; from 0 it wraps to the end.
    --uiPosition;
    return *this;
}

cNodeIterator cNodeIterator::operator--(int)
{
    cNodeIterator before(*this);
    --*this;
    return before;
}

void cNodeIterator::FindNextNode()
{
    NodeListImpl* children = HandleAccess::list_impl(Children);
    if (!children)
        return;
    // item() answers null exactly at and past the end of the list, so the
    // list is never counted as a whole.
    while (xercesc::DOMNode* child = children->item(uiPosition)) {
        if (narrow_equals(child->getNodeName(), Name.data(), Name.size()))
            return;
        ++uiPosition;
    }
}

std::string GetNodeName(const cNodeIterator& it)
{
    return GetNodeName(*it);
}
