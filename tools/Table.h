// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Console.h"
#include "tools/ScreenText.h"

#include <string>
#include <vector>

namespace tool {

/// Rows of text in aligned columns with a heading. Texts are made safe for the terminal.
class Table {
public:
    struct Column {
        std::string heading;
        Align align = Align::left;
    };

    explicit Table(std::vector<Column> columns);
    /// One text for each column.
    void addRow(std::vector<std::string> texts);
    void print(Console& console) const;

private:
    std::vector<Column> _columns;
    std::vector<std::vector<std::string>> _rows;
};

} // namespace tool
