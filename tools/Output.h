// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace tool {

/// One stream that text goes to.
class Output {
public:
    virtual ~Output() = default;
    /// false when the text could not be written whole (the reader has gone, the disk is full).
    virtual bool write(std::string_view text) = 0;
    [[nodiscard]] virtual bool isTerminal() const = 0;
    /// Width in columns; only asked of terminals.
    [[nodiscard]] virtual int columns() const = 0;
};

/// A file descriptor; not owned.
class DescriptorOutput : public Output {
public:
    explicit DescriptorOutput(int descriptor);
    bool write(std::string_view text) override;
    [[nodiscard]] bool isTerminal() const override { return _isTerminal; }
    [[nodiscard]] int columns() const override;

private:
    int _descriptor;
    bool _isTerminal;
};

} // namespace tool
