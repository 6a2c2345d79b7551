// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace mtpsdk {

/// What a virtual device does wrong: everything that real ones were seen to do, and what a hostile one might. Rules may
/// be added at any time from any thread; without any, the device behaves.
class FaultPlan {
public:
    /// Which of the coming operations a rule means: the first `times` (0: all) from the nth on.
    struct When {
        std::optional<OperationCode> operation; ///< missing: any
        unsigned nth = 1;
        unsigned times = 1;
    };
    using Alteration = std::function<void(std::vector<std::byte>& bytes)>;
    using EventRaiser = std::function<void(EventCode code, const std::vector<std::uint32_t>& parameters)>;

    // What the device answers.
    /// Answers a response code instead of doing anything.
    void refuse(const When& when, ResponseCode code);
    /// Alters the dataset (without container header) that an operation hands out. Files are not datasets.
    void alterData(const When& when, Alteration alteration);
    /// Alters the whole response container.
    void alterResponse(const When& when, Alteration alteration);
    /// Neither announces nor knows the operation.
    void withhold(OperationCode operation);
    /// Announces no such object property for any format.
    void withhold(ObjectPropertyCode property);
    /// Runs full once so many more bytes of files have come.
    void fullAfter(std::uint64_t bytes);
    /// Takes no cancel.
    void refuseCancel(bool refused);
    /// Hands out another name for the objects that are really called `name`.
    void tellName(const std::string& name, std::u16string told);
    /// Says another size of the objects of this name than they have.
    void tellSize(const std::string& name, std::uint64_t told);
    /// Delivers that many bytes of the objects of this name, cut or filled up with zeros.
    void deliverSize(const std::string& name, std::uint64_t delivered);

    // What the line does.
    /// Waits before the operation begins. Longer than the line's patience: the device does not answer.
    void delay(const When& when, std::chrono::milliseconds time);
    /// Is gone for good once so many bytes of the operation's data phase have passed (in blocks of the line).
    void vanish(const When& when, std::uint64_t afterBytes);
    /// How long the line waits for an answer.
    void setPatience(std::chrono::milliseconds time);

    /// Raises an event now, at every responder of the device.
    void raise(EventCode code, const std::vector<std::uint32_t>& parameters);
    void clear();

    // What the responder and the line ask; each operation is asked for once.
    struct Answer {
        std::optional<ResponseCode> refusal;
        std::vector<Alteration> dataAlterations;
        std::vector<Alteration> responseAlterations;
    };
    struct Line {
        std::chrono::milliseconds delay{0};
        std::optional<std::uint64_t> vanishAfter;
    };
    /// What the device says of its objects instead of the truth.
    struct Lies {
        std::map<std::string, std::u16string> names; ///< all by the objects' real names
        std::map<std::string, std::uint64_t> sizes;
        std::map<std::string, std::uint64_t> deliveries;
        std::set<ObjectPropertyCode> withheld;
    };
    [[nodiscard]] Lies lies();
    [[nodiscard]] Answer answerFor(OperationCode operation);
    [[nodiscard]] Line lineFor(OperationCode operation);
    [[nodiscard]] bool isWithheld(OperationCode operation);
    /// How many of `bytes` still fit; fewer mean that the device is full now.
    [[nodiscard]] std::uint64_t takeRoom(std::uint64_t bytes);
    [[nodiscard]] bool refusesCancel();
    [[nodiscard]] std::chrono::milliseconds patience();
    std::uint64_t addRaiser(EventRaiser raiser);
    void removeRaiser(std::uint64_t raiser);

private:
    struct Rule {
        When when;
        Answer answer;
        Line line;
        unsigned seen = 0;
    };
    [[nodiscard]] static bool meets(Rule& rule, OperationCode operation);

    std::mutex _mutex;
    std::vector<Rule> _answers;
    std::vector<Rule> _lines;
    std::set<OperationCode> _withheldOperations;
    std::optional<std::uint64_t> _room;
    bool _refusesCancel = false;
    Lies _lies;
    std::chrono::milliseconds _patience{std::chrono::seconds(20)};

    std::mutex _raiserMutex; ///< held while raisers run
    std::map<std::uint64_t, EventRaiser> _raisers;
    std::uint64_t _nextRaiser = 1;
};

} // namespace mtpsdk
