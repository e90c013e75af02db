# SPDX-License-Identifier: MIT
# Draws what the library is made of, with the families of the README's table.
#
# awk -f docs/pictures/architecture.awk README.md >docs/pictures/architecture.svg

function box(x, y, width, height, class, title, text) {
    printf "  <rect class=\"%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" rx=\"7\"/>\n", \
        class, x, y, width, height
    printf "  <text class=\"title\" x=\"%d\" y=\"%d\">%s</text>\n", \
        x + width / 2, y + height / 2 + (text == "" ? 6 : -4), title
    if (text != "")
        printf "  <text class=\"small\" x=\"%d\" y=\"%d\">%s</text>\n", \
            x + width / 2, y + height / 2 + 17, text
}

function escaped(text) {
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    return text
}

BEGIN { FS = " *[|] *" }

/^\| Family \|/ { inside = 1; next }
!/^\|/ { inside = 0 }
inside && $3 ~ /^`/ {
    family[++count] = escaped($2)
    header[count] = substr($3, 2, length($3) - 2)
}

END {
    if (count == 0)
        exit 1
    WIDTH = 720
    rows = int((count + 2) / 3)
    ROW = 58
    top = 84
    below = top + rows * (ROW + 10) + 12
    height = below + 2 * (ROW + 12) + 62

    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" role=\"img\"\n", \
        WIDTH, height
    print "    aria-label=\"A program uses public headers, one for each family; behind them are the"
    print "    units, the kernels, and what a host supplies\">"
    # In two parts: this line is not a licence of its own.
    print "  <!-- SPDX-License-" "Identifier: MIT -->"
    print "  <!-- drawn by docs/pictures/architecture.awk -->"
    print "  <style>"
    print "    text { font: 16px system-ui, \"DejaVu Sans\", sans-serif; text-anchor: middle; fill: #1d2126 }"
    print "    .title { font-weight: 600 }"
    print "    .small { font-size: 13px; fill: #5b6570 }"
    print "    rect { stroke-width: 1.5; fill: #f5f6f8; stroke: #9aa5b1 }"
    print "    .family { fill: #e8f0fb; stroke: #1f5fae }"
    print "    .wing { fill: #eef6ee; stroke: #3f7d44 }"
    print "    .outside { fill: none; stroke-dasharray: 5 4 }"
    print "    @media (prefers-color-scheme: dark) {"
    print "      text { fill: #dfe3e8 }"
    print "      .small { fill: #9aa5b1 }"
    print "      rect { fill: #20252b; stroke: #5b6570 }"
    print "      .family { fill: #17273d; stroke: #82b4f5 }"
    print "      .wing { fill: #1a2b1c; stroke: #8fcf94 }"
    print "      .outside { fill: none }"
    print "    }"
    print "  </style>"
    box(1, 1, WIDTH - 2, 60, "outside", "your program", "C++17, 20 or 23; CMake or pkg-config")
    for (i = 1; i <= count; ++i)
        box(1 + (i - 1) % 3 * 243, top + int((i - 1) / 3) * (ROW + 10), 232, ROW, "family", \
            family[i], header[i])
    box(1, below, 475, ROW, "wing", "the units", "one for each class, in POSIX calls: Bases/Impl")
    box(487, below, 232, ROW, "wing", "vector kernels", "chosen at run time: Route")
    box(1, below + ROW + 12, WIDTH - 2, ROW, "wing", "what a host supplies", \
        "Linux, macOS: Port, the only place that asks where it is")
    box(1, below + 2 * (ROW + 12), WIDTH - 2, 50, "outside", "C library, kernel, libxml2", "")
    print "</svg>"
}
