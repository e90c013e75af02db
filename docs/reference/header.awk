# SPDX-License-Identifier: MIT
# Turns the comments of a public header into what Doxygen takes them for; the headers need no
# commands then. The output has other lines than the header.
#
# - The comment at the top, and every later one that belongs to no declaration, is the text of the
#   file's page; "// --- Title ---" begins a section.
# - A comment above several declarations belongs to each of them, up to the next comment; so does a
#   plain one of a namespace.
# - A deleted or defaulted function, and a constant of a namespace, says what it is by itself.

function is_comment(line) { return line ~ /^ *\/\/\// }

function is_plain_comment(line) { return line ~ /^ *\/\/([^\/]|$)/ }

# What follows the slashes of a plain comment.
function text_of(line) {
    sub(/^ *\/\/ ?/, "", line)
    return line
}

# Whether a declaration begins in this line, at the level of a namespace or of a class.
function begins_declaration(line) {
    return line !~ /^ *(\/\/|#|}|public:|protected:|private:|extern "C"|namespace|using namespace|$)/
}

# Prints the text of the file's page.
function print_page_text(    i, line, plain) {
    for (i = 1; i <= NR && lines[i] !~ /^#define [A-Z_]*_H$/; ++i)
        ;
    print "/// \\file"
    plain = 0
    for (++i; i <= NR; ++i) {
        line = lines[i]
        # Comments inside of classes and functions explain the code.
        if (line ~ /^\/\/([^\/]|$)/ && line !~ /^\/\/ SPDX/) {
            if (line ~ /^\/\/ ---/) {
                gsub(/^\/\/ -+ | -+$/, "", line)
                print "///\n/// ### " line "\n///"
            } else {
                if (!plain)
                    print "///"
                print "/// " text_of(line)
            }
            plain = 1
        } else {
            plain = 0
        }
    }
}

# Prints the header, with what belongs to a declaration above it.
function print_declarations(    name, open, i, line, comment, declared, code) {
    name = FILENAME
    sub(/.*\//, "", name)
    open = 0
    for (i = 1; i <= NR; ++i) {
        line = lines[i]
        if (line ~ /^\/\/([^\/]|$)/) {
            if (lines[i - 1] !~ /^\/\//)
                comment = ""
            if (line !~ /^\/\/ ---/)
                comment = comment "/// " text_of(line) "\n"
            declared = 1
            continue
        }
        if (line == "namespace Vorn {" && name == "Bases.h")
            print "/// Everything in the library but a few C functions."
        if (is_comment(line)) {
            if (!is_comment(lines[i - 1]))
                comment = ""
            declared = 0
            comment = comment line "\n"
            print line
            continue
        }
        if (!open && begins_declaration(line)) {
            if (line ~ /= delete;/)
                print "/// Deleted: objects are not copied."
            else if (line ~ /= default;/)
                print "/// Copies the base only."
            else if (line ~ /^inline constexpr .*;$/ && comment == "" && line !~ /\/\/\/</)
                print "/// One of the values of this namespace."
            else if (declared && comment != "")
                printf "%s", comment
            declared = 1
        }
        # A declaration goes on until its semicolon or its brace.
        code = line
        sub(/\/\/.*/, "", code)
        if (begins_declaration(line) || open)
            open = code !~ /[;{}] *$/
        if (code ~ /[{}];? *$/) {
            comment = ""
            declared = 0
        }
        print line
    }
}

{ lines[NR] = $0 }

END {
    print_page_text()
    print_declarations()
}
