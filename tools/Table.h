// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Console.h"
#include "tools/ScreenText.h"

#include <string>
#include <utility>
#include <vector>

namespace tool {

/// Rows of text in aligned columns with a heading. Texts are made safe for the terminal, and on one the columns that
/// may be cut are narrowed, the widest first, until a row fits its width; whoever reads a file or a pipe gets all.
class Table {
public:
    enum class Fit { whole, cut };
    struct Column {
        std::string heading;
        Align align = Align::left;
        Fit fit = Fit::whole;
    };
    /// A column of names or other texts of any length.
    static Column text(std::string heading) { return {std::move(heading), Align::left, Fit::cut}; }

    explicit Table(std::vector<Column> columns);
    /// One text for each column.
    void addRow(std::vector<std::string> texts);
    void print(Console& console) const;

private:
    [[nodiscard]] std::vector<int> widths() const;
    void narrow(std::vector<int>& widths, int available) const;

    std::vector<Column> _columns;
    std::vector<std::vector<std::string>> _rows;
};

} // namespace tool
