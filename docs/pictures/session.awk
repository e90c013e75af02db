# SPDX-License-Identifier: MIT
# Draws the session with manifest that its page shows, in the colours of a terminal: the commands of
# the first two blocks but for those whose output is not shown whole.
#
# LC_ALL=C.UTF-8 awk -f docs/pictures/session.awk examples/manifest/README.md \
#     >docs/pictures/session.svg

# The verdicts of verify are coloured, as on a terminal.
function painted(text, word) {
    word = text
    sub(/ .*/, "", word)
    text = escaped(text)
    if (word ~ /^(changed|missing|moved|new)$/)
        sub(word, "<tspan class=\"" word "\">" word "</tspan>", text)
    return text
}

function escaped(text) {
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    gsub(/>/, "\\&gt;", text)
    return text
}

# Breaks a line that is too long where a terminal would, behind whole characters.
function draw(class, text) {
    while (text != "") {
        line[++lines] = substr(text, 1, COLUMNS)
        kind[lines] = class
        text = substr(text, COLUMNS + 1)
    }
}

# Takes the command that has been read, with its output.
function finish(i) {
    for (i = 1; i <= outputs; ++i)
        if (output[i] ~ /\[\.\.\.\]/)
            outputs = command = ""
    if (command != "")
        draw("command", "$ " command)
    for (i = 1; i <= outputs; ++i)
        draw("output", output[i])
    command = ""
    outputs = 0
}

BEGIN {
    COLUMNS = 88
    CHARACTER = 7.8
    WIDTH = 720
    LINE = 20
    TOP = 62
}

/^```/ {
    if (inside)
        finish()
    inside = !inside && $0 == "```console" && ++blocks <= 2
    next
}
inside && sub(/^\$ /, "") {
    finish()
    command = $0
    next
}
inside { output[++outputs] = $0 }

END {
    if (lines == 0)
        exit 1
    height = TOP + lines * LINE
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" role=\"img\"\n", \
        WIDTH, height
    print "    aria-label=\"A session: manifest creates a manifest, and verify finds what has changed\">"
    # In two parts: this line is not a licence of its own.
    print "  <!-- SPDX-License-" "Identifier: MIT -->"
    print "  <!-- drawn by docs/pictures/session.awk -->"
    print "  <style>"
    print "    text { font: 13px ui-monospace, \"DejaVu Sans Mono\", Menlo, Consolas, monospace; fill: #1d2126; white-space: pre }"
    print "    rect { fill: #f5f6f8; stroke: #9aa5b1; stroke-width: 1.5 }"
    print "    circle { fill: #9aa5b1 }"
    print "    .command { font-weight: 600 }"
    print "    .missing { fill: #b3261e }"
    print "    .changed { fill: #8a5a00 }"
    print "    .moved { fill: #0b6477 }"
    print "    .new { fill: #1d6b2c }"
    print "    @media (prefers-color-scheme: dark) {"
    print "      text { fill: #dfe3e8 }"
    print "      rect { fill: #15181c; stroke: #5b6570 }"
    print "      circle { fill: #5b6570 }"
    print "      .missing { fill: #ff9d93 }"
    print "      .changed { fill: #f2c464 }"
    print "      .moved { fill: #7fd4e6 }"
    print "      .new { fill: #8fd49a }"
    print "    }"
    print "  </style>"
    printf "  <rect x=\"1\" y=\"1\" width=\"%d\" height=\"%d\" rx=\"7\"/>\n", WIDTH - 2, height - 2
    for (i = 0; i < 3; ++i)
        printf "  <circle cx=\"%d\" cy=\"20\" r=\"5\"/>\n", 20 + i * 18
    for (i = 1; i <= lines; ++i)
        printf "  <text class=\"%s\" x=\"16\" y=\"%d\" textLength=\"%.1f\" lengthAdjust=\"spacingAndGlyphs\">%s</text>\n", \
            kind[i], TOP + (i - 1) * LINE - 10, length(line[i]) * CHARACTER, painted(line[i])
    print "</svg>"
}
