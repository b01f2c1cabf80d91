// SPDX-License-Identifier: Apache-2.0
// Built into the tool in sanitizer builds only. Xerces-C 3.2.4 leaks on its
// own, in plain programs too, the declaration of an external DTD subset that
// `validate` makes it read; tests/lsan.supp, the one list of such leaks,
// excuses it here as for the tests. Xerces-C has no frame pointers, so the
// leak stacks need the slow unwinder to show its frames.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

// The tests compare standard error byte for byte: no list of the excused.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options()
{
    return "print_suppressions=0";
}

extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return
#include "lsan_suppressions.inc"
        ;
}
