// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

namespace mtpsdk {

/// What devices answered to a question that each is asked once. One that could not be opened for it is asked again as
/// soon as this process may use it: the first look may come before the system said who may. Thread-safe.
class UsbAnswers {
public:
    /// Of a device, as long as it is plugged in: bus, address, vendor, product.
    using Key = std::array<std::uint32_t, 4>;

    /// `ask` answers nothing when the device cannot be opened, which counts as a no; `mayUse` is whether it should be.
    [[nodiscard]] bool of(const Key& key, bool mayUse, const std::function<std::optional<bool>()>& ask) {
        const std::lock_guard lock(_mutex);
        const auto [place, isNew] = _known.try_emplace(key);
        Answer& answer = place->second;
        if (isNew || (!answer.said && mayUse && !answer.mayUse)) {
            answer.said = ask();
        }
        answer.mayUse = mayUse;
        return answer.said.value_or(false);
    }

private:
    struct Answer {
        std::optional<bool> said;
        bool mayUse = false; ///< at the last look
    };
    std::mutex _mutex;
    std::map<Key, Answer> _known;
};

} // namespace mtpsdk
