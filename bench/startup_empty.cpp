// SPDX-License-Identifier: Apache-2.0
// Linked with Xerces-C but calling nothing of it: what loading the library
// and its dependencies costs a program before its first line runs.
#include <xercesc/util/PlatformUtils.hpp>

int main(int argc, char**)
{
    // Never true; keeps the reference, so the library stays linked.
    if (argc > 1000) {
        xercesc::XMLPlatformUtils::Initialize();
    }
    return 0;
}
