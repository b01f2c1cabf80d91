// SPDX-License-Identifier: Apache-2.0
// Loading Xerces-C plus XMLPlatformUtils::Initialize, and nothing else.
#include <xercesc/util/PlatformUtils.hpp>

int main()
{
    xercesc::XMLPlatformUtils::Initialize();
    return 0;
}
