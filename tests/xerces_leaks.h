// SPDX-License-Identifier: Apache-2.0
// Included by exactly one source file of each test program that parses
// documents with an external DTD, loads a DTD as a grammar or gives a
// directory as a file.
#ifndef XMLUTIL_TEST_XERCES_LEAKS_H
#define XMLUTIL_TEST_XERCES_LEAKS_H

// Xerces-C 3.2.4 leaks on its own, in plain programs too, the declaration of
// an external DTD subset, a DTD loaded as a grammar, and the system id of a
// reader whose file cannot be read (a directory). Only the places in tests/lsan.supp are excused. Xerces-C is built
// without frame pointers, so the leak stacks need the slow unwinder to show
// these frames. The tests are built with hidden visibility, and the sanitizer
// runtime must see both hooks.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

// tests/lsan.supp, as the build wrote it into a string literal.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return
#include "lsan_suppressions.inc"
        ;
}

#endif // XMLUTIL_TEST_XERCES_LEAKS_H
