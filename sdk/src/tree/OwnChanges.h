// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace mtpsdk {

/// The objects that this library made or deleted a short while ago: many devices report them back as events, which then
/// are no news. Not thread-safe.
class OwnChanges {
public:
    void added(std::uint32_t handle) { remember(_added, handle); }
    void removed(std::uint32_t handle) { remember(_removed, handle); }
    /// Whether the object is a change of our own; it then counts as reported.
    [[nodiscard]] bool takeAdded(std::uint32_t handle) { return take(_added, handle); }
    [[nodiscard]] bool takeRemoved(std::uint32_t handle) { return take(_removed, handle); }

private:
    static constexpr std::size_t remembered = 1024; ///< a device that reports later than this reports news
    using Handles = std::deque<std::uint32_t>;

    static void remember(Handles& handles, std::uint32_t handle) {
        handles.push_back(handle);
        if (handles.size() > remembered) {
            handles.pop_front();
        }
    }
    static bool take(Handles& handles, std::uint32_t handle) {
        const auto found = std::find(handles.begin(), handles.end(), handle);
        if (found == handles.end()) {
            return false;
        }
        handles.erase(found);
        return true;
    }

    Handles _added;
    Handles _removed;
};

} // namespace mtpsdk
