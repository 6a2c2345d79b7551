// SPDX-License-Identifier: MIT
#include "tools/Table.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tool {
namespace {

constexpr std::string_view gap = "  ";
/// Columns are not cut to less: a letter and an ellipsis help nobody.
constexpr int narrowest = 8;

} // namespace

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

std::vector<int> Table::widths() const {
    std::vector<int> widths(_columns.size(), 0);
    for (const auto& row : _rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    return widths;
}

void Table::narrow(std::vector<int>& widths, int available) const {
    int total = static_cast<int>(gap.size() * (widths.size() - 1));
    for (const int width : widths) {
        total += width;
    }
    for (; total > available; --total) {
        int* widest = nullptr;
        for (std::size_t column = 0; column < widths.size(); ++column) {
            const bool isWider = widest == nullptr || widths[column] > *widest;
            if (_columns[column].fit == Fit::cut && widths[column] > narrowest && isWider) {
                widest = &widths[column];
            }
        }
        if (widest == nullptr) {
            return;
        }
        --*widest;
    }
}

void Table::print(Console& console) const {
    std::vector<int> widths = this->widths();
    if (console.hasStatusLine()) { // a terminal
        narrow(widths, console.columns());
    }
    for (const auto& row : _rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const int width = widths[column];
            line += column > 0 ? gap : "";
            line += paddedText(fittedText(row[column], width), width, _columns[column].align);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        console.print(line);
    }
}

} // namespace tool
