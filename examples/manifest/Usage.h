// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_USAGE_H
#define VORN_BASES_EXAMPLES_MANIFEST_USAGE_H

namespace Manifest {

constexpr const char* UsageLine = "usage: manifest COMMAND [ARGUMENT...]\n\n";

// What the help says of each command.

constexpr const char* UsageOfCreate =
    "  create [OPTION...] OUT.xml PATH...\n"
    "      Records the files at the paths, and everything in the directories, in\n"
    "      OUT.xml. What cannot be read is reported and recorded as a failure; OUT.xml\n"
    "      is replaced all the same, and the exit status is 1. If several runs create\n"
    "      one OUT.xml, the one that ends last wins; the one that began last can be\n"
    "      watched. With - as OUT.xml, the manifest goes to standard output.\n"
    "      -b, --brief            without identifiers, times and readable sizes,\n"
    "                             and with digests in Base64\n"
    "      -d, --digest NAME      md5, which is the default, or sha256\n"
    "      -j, --jobs N           measure N files at a time; 0: one for each processor\n"
    "      -q, --quiet            without the line that shows the progress\n"
    "      -x, --exclude PATTERN  leave out what the shell's pattern matches: the name\n"
    "                             in its directory, or the whole path if the pattern\n"
    "                             has a slash; may be given several times\n"
    "      --modes, --owners, --targets\n"
    "                             record permissions, owners and groups, and where\n"
    "                             links lead to, for verify to compare\n";

constexpr const char* UsageOfShow = "  show OUT.xml\n"
                                    "      Prints the manifest as a table.\n";

constexpr const char* UsageOfVerify =
    "  verify [OPTION...] OUT.xml\n"
    "      Examines the paths of OUT.xml again and prints what is missing, moved,\n"
    "      changed or new, sorted by name, and a summary. Run it in the locale that\n"
    "      create ran in, and in the same directory if the paths are relative. OUT.xml\n"
    "      itself is left out, and so is what create left out.\n"
    "      Changed means another kind, or other bytes, lines, digest, or whatever else\n"
    "      create was asked to record; times and identifiers do not count. Moved means\n"
    "      that a missing file's content, if it has any, is in a new one. What fails\n"
    "      again for the same reason is no difference. Anything else that cannot be\n"
    "      read is reported and counted as unread, and so is everything below a\n"
    "      directory that cannot be read. The exit status is 0 only if nothing is\n"
    "      missing, moved, changed, new or unread. MD5 detects damage, but not forgery.\n"
    "      -j, --jobs N           measure N files at a time; 0: one for each processor\n"
    "      -q, --quiet            print the differences only\n";

constexpr const char* UsageOfExport =
    "  export OUT.xml\n"
    "      Prints the digests of the files for md5sum -c or sha256sum -c. What was\n"
    "      recorded as a failure is reported, and the exit status is 1.\n";

constexpr const char* UsageOfWatch =
    "  watch OUT.xml\n"
    "      Shows the progress of a run on OUT.xml in another terminal until it\n"
    "      finishes. It must be a run of the same user, with the privilege to write\n"
    "      shared memory, which the superuser has.\n";

constexpr const char* UsageOfRest =
    "  help, --help, -h\n"
    "      Prints this text; COMMAND --help prints what concerns the command.\n"
    "  --version\n"
    "      Prints the version.\n\n"
    "After -- nothing is an option. With - as OUT.xml, show, verify and export read\n"
    "standard input. On a terminal, create and verify show their progress, and verify\n"
    "uses colours unless NO_COLOR is set.\n\n"
    "exit status: 0 on success; 1 after a failure, with a message on standard error;\n"
    "2 for wrong arguments\n";

} // namespace Manifest

#endif
