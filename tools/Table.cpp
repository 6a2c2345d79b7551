// SPDX-License-Identifier: MIT
#include "tools/Table.h"

#include <algorithm>
#include <utility>

namespace tool {

Table::Table(std::vector<Column> columns)
    : _columns(std::move(columns)) {
    std::vector<std::string> headings;
    for (const Column& column : _columns) {
        headings.push_back(column.heading);
    }
    _rows.push_back(std::move(headings));
}

void Table::addRow(std::vector<std::string> texts) {
    std::transform(texts.begin(), texts.end(), texts.begin(), [](const std::string& text) { return safeText(text); });
    texts.resize(_columns.size());
    _rows.push_back(std::move(texts));
}

void Table::print(Console& console) const {
    std::vector<int> widths(_columns.size(), 0);
    for (const auto& row : _rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    for (const auto& row : _rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += (column > 0 ? "  " : "") + paddedText(row[column], widths[column], _columns[column].align);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        console.print(line);
    }
}

} // namespace tool
