#include "Table.h"

#include <algorithm>
#include <array>

#include "FileName.h"

namespace Manifest {

namespace {

using Row = std::array<std::string, 4>; // bytes, lines, identifier, name

Row MakeRow(const Entry& entry) {
    if (!entry.failure.empty())
        return {"-", "-", "failed", ForDisplay(entry.name) + ": " + ForDisplay(entry.failure)};
    return {std::to_string(entry.bytes), std::to_string(entry.lines), entry.id.ToString(1),
            ForDisplay(entry.name)};
}

Row MakeTotal(const std::vector<Entry>& entries) {
    unsigned long long bytes = 0;
    unsigned long long lines = 0;
    std::size_t failures = 0;
    for (const Entry& entry : entries) {
        bytes += entry.bytes;
        lines += entry.lines;
        failures += entry.failure.empty() ? 0 : 1;
    }
    const std::size_t files = entries.size() - failures;
    return {std::to_string(bytes), std::to_string(lines), "total",
            std::to_string(files) + (files == 1 ? " file, " : " files, ") +
                std::to_string(failures) + " failed"};
}

// The numbers stand to the right of their columns; the last column needs no width.
std::string Format(const std::vector<Row>& rows) {
    std::array<std::size_t, 3> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());

    std::string text;
    for (const auto& [bytes, lines, id, name] : rows) {
        text.append(widths[0] - bytes.size(), ' ').append(bytes).append(2, ' ');
        text.append(widths[1] - lines.size(), ' ').append(lines).append(2, ' ');
        text.append(id).append(widths[2] - id.size() + 2, ' ').append(name).append(1, '\n');
    }
    return text;
}

} // namespace

std::string FormatTable(const std::vector<Entry>& entries) {
    std::vector<Row> rows{{"BYTES", "LINES", "ID", "NAME"}};
    std::transform(entries.begin(), entries.end(), std::back_inserter(rows), MakeRow);
    rows.push_back(MakeTotal(entries));
    return Format(rows);
}

} // namespace Manifest
