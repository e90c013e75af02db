// SPDX-License-Identifier: MIT
#include "Table.h"

#include <algorithm>
#include <array>

#include "Describe.h"
#include "FileName.h"

namespace Manifest {

using Examples::ForDisplay;

namespace {

enum Column { KindColumn, Bytes, Size, Lines, Written, Id, Name, Columns };

using Row = std::array<std::string, Columns>;

Row MakeRow(const Entry& entry) {
    if (entry.failure)
        return {"failed",
                "-",
                "-",
                "-",
                "-",
                "-",
                ForDisplay(entry.name) + ": " + ForDisplay(*entry.failure)};
    const std::string written =
        entry.details->writtenLocal.empty() ? "-" : ForDisplay(entry.details->writtenLocal);
    const std::string id =
        entry.details->id.None() ? "-" : entry.details->id.ToString(Vorn::GuidForm::Full);
    if (entry.kind != Kind::File)
        return {NameOf(entry.kind), "-", "-", "-", written, id, ForDisplay(entry.name)};
    return {NameOf(entry.kind),
            std::to_string(entry.bytes),
            DescribeSize(entry.bytes),
            std::to_string(entry.lines),
            written,
            id,
            ForDisplay(entry.name)};
}

std::string Count(std::size_t number, const char* one) {
    return std::to_string(number) + " " + one + (number == 1 ? ", " : "s, ");
}

Row MakeTotal(const std::vector<Entry>& entries) {
    unsigned long long bytes = 0;
    unsigned long long lines = 0;
    std::size_t files = 0;
    std::size_t failures = 0;
    for (const Entry& entry : entries) {
        bytes += entry.bytes;
        lines += entry.lines;
        failures += !entry.failure ? 0 : 1;
        files += !entry.failure && entry.kind == Kind::File ? 1 : 0;
    }
    return {"total",
            std::to_string(bytes),
            DescribeSize(bytes),
            std::to_string(lines),
            "",
            "",
            Count(files, "file") + Count(entries.size() - files - failures, "other") +
                std::to_string(failures) + " failed"};
}

bool IsNumeric(std::size_t column) { return column == Bytes || column == Size || column == Lines; }

// Numbers are right-aligned; the last column needs no width.
std::string Format(const std::vector<Row>& rows) {
    std::array<std::size_t, Name> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());

    std::string text;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const std::string padding(widths[i] - row[i].size(), ' ');
            text += (IsNumeric(i) ? padding + row[i] : row[i] + padding) + "  ";
        }
        text += row[Name] + "\n";
    }
    return text;
}

} // namespace

std::string FormatTable(const std::vector<Entry>& entries) {
    std::vector<Row> rows{{"KIND", "BYTES", "SIZE", "LINES", "WRITTEN", "ID", "NAME"}};
    std::transform(entries.begin(), entries.end(), std::back_inserter(rows), MakeRow);
    rows.push_back(MakeTotal(entries));
    return Format(rows);
}

} // namespace Manifest
