// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"
