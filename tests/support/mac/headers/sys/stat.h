// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_SYS_STAT_H
#define VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_SYS_STAT_H

// The status of a file with its times under the names that macOS gives them.

#include_next <sys/stat.h>

#define st_atimespec st_atim
#define st_mtimespec st_mtim
#define st_ctimespec st_ctim

#endif
