// SPDX-License-Identifier: MIT
#include "responder/FaultPlan.h"

#include <algorithm>
#include <utility>

namespace mtpsdk {

void FaultPlan::refuse(const When& when, ResponseCode code) {
    const std::lock_guard lock(_mutex);
    _answers.push_back({when, {code, {}, {}}, {}, 0});
}

void FaultPlan::alterData(const When& when, Alteration alteration) {
    const std::lock_guard lock(_mutex);
    _answers.push_back({when, {{}, {std::move(alteration)}, {}}, {}, 0});
}

void FaultPlan::alterResponse(const When& when, Alteration alteration) {
    const std::lock_guard lock(_mutex);
    _answers.push_back({when, {{}, {}, {std::move(alteration)}}, {}, 0});
}

void FaultPlan::withhold(OperationCode operation) {
    const std::lock_guard lock(_mutex);
    _withheldOperations.insert(operation);
}

void FaultPlan::withhold(ObjectPropertyCode property) {
    const std::lock_guard lock(_mutex);
    _lies.withheld.insert(property);
}

void FaultPlan::fullAfter(std::uint64_t bytes) {
    const std::lock_guard lock(_mutex);
    _room = bytes;
}

void FaultPlan::refuseCancel(bool refused) {
    const std::lock_guard lock(_mutex);
    _refusesCancel = refused;
}

void FaultPlan::tellName(const std::string& name, std::u16string told) {
    const std::lock_guard lock(_mutex);
    _lies.names.insert_or_assign(name, std::move(told));
}

void FaultPlan::tellSize(const std::string& name, std::uint64_t told) {
    const std::lock_guard lock(_mutex);
    _lies.sizes.insert_or_assign(name, told);
}

void FaultPlan::deliverSize(const std::string& name, std::uint64_t delivered) {
    const std::lock_guard lock(_mutex);
    _lies.deliveries.insert_or_assign(name, delivered);
}

void FaultPlan::delay(const When& when, std::chrono::milliseconds time) {
    const std::lock_guard lock(_mutex);
    _lines.push_back({when, {}, {time, {}}, 0});
}

void FaultPlan::vanish(const When& when, std::uint64_t afterBytes) {
    const std::lock_guard lock(_mutex);
    _lines.push_back({when, {}, {{}, afterBytes}, 0});
}

void FaultPlan::setPatience(std::chrono::milliseconds time) {
    const std::lock_guard lock(_mutex);
    _patience = time;
}

void FaultPlan::raise(EventCode code, const std::vector<std::uint32_t>& parameters) {
    const std::lock_guard raising(_raiserMutex);
    for (const auto& [number, raiser] : _raisers) {
        raiser(code, parameters);
    }
}

void FaultPlan::clear() {
    const std::lock_guard lock(_mutex);
    _answers.clear();
    _lines.clear();
    _withheldOperations.clear();
    _room.reset();
    _refusesCancel = false;
    _lies = {};
}

bool FaultPlan::meets(Rule& rule, OperationCode operation) {
    if (rule.when.operation && *rule.when.operation != operation) {
        return false;
    }
    ++rule.seen;
    const unsigned last = rule.when.nth + rule.when.times;
    return rule.seen >= rule.when.nth && (rule.when.times == 0 || rule.seen < last);
}

FaultPlan::Answer FaultPlan::answerFor(OperationCode operation) {
    const std::lock_guard lock(_mutex);
    Answer answer;
    for (Rule& rule : _answers) {
        if (!meets(rule, operation)) {
            continue;
        }
        if (rule.answer.refusal) {
            answer.refusal = rule.answer.refusal;
        }
        std::ranges::copy(rule.answer.dataAlterations, std::back_inserter(answer.dataAlterations));
        std::ranges::copy(rule.answer.responseAlterations, std::back_inserter(answer.responseAlterations));
    }
    return answer;
}

FaultPlan::Line FaultPlan::lineFor(OperationCode operation) {
    const std::lock_guard lock(_mutex);
    Line line;
    for (Rule& rule : _lines) {
        if (meets(rule, operation)) {
            line.delay += rule.line.delay;
            if (rule.line.vanishAfter) {
                line.vanishAfter = rule.line.vanishAfter;
            }
        }
    }
    return line;
}

bool FaultPlan::isWithheld(OperationCode operation) {
    const std::lock_guard lock(_mutex);
    return _withheldOperations.contains(operation);
}

FaultPlan::Lies FaultPlan::lies() {
    const std::lock_guard lock(_mutex);
    return _lies;
}

std::uint64_t FaultPlan::takeRoom(std::uint64_t bytes) {
    const std::lock_guard lock(_mutex);
    if (!_room) {
        return bytes;
    }
    const std::uint64_t taken = std::min(*_room, bytes);
    *_room -= taken;
    return taken;
}

bool FaultPlan::refusesCancel() {
    const std::lock_guard lock(_mutex);
    return _refusesCancel;
}

std::chrono::milliseconds FaultPlan::patience() {
    const std::lock_guard lock(_mutex);
    return _patience;
}

std::uint64_t FaultPlan::addRaiser(EventRaiser raiser) {
    const std::lock_guard raising(_raiserMutex);
    _raisers.emplace(_nextRaiser, std::move(raiser));
    return _nextRaiser++;
}

void FaultPlan::removeRaiser(std::uint64_t raiser) {
    const std::lock_guard raising(_raiserMutex);
    _raisers.erase(raiser);
}

} // namespace mtpsdk
