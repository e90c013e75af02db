// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_MACH_TASK_H
#define VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_MACH_TASK_H

#include <mach/mach.h>

#endif
