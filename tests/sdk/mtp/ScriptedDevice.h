// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "mtp/Container.h"
#include "mtp/Datasets.h"
#include "mtp/Session.h"
#include "transport/Transport.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace mtpsdk::test {

using Bytes = std::vector<std::byte>;

[[nodiscard]] Bytes bytesOf(std::initializer_list<unsigned> values);
[[nodiscard]] Bytes patternedBytes(std::size_t size);

/// What the played device answers to one command.
struct Answer {
    ResponseCode code = ResponseCode::OK;
    std::vector<std::uint32_t> parameters;
    std::optional<Bytes> data;
};

/// A device played from requests and replies. The test keeps it, the session gets a transport to it.
class Script {
public:
    using Handler = std::function<Answer(const ParameterContainer& command, const Bytes& dataOut)>;

    Script();

    /// What is announced; handlers say what is done.
    DeviceInfo info;
    std::map<OperationCode, Handler> on;
    /// Changes the phases (data, response) that are about to go out for an operation.
    std::map<OperationCode, std::function<void(std::vector<Bytes>& phases)>> mangle;

    std::vector<ParameterContainer> commands; ///< all that arrived
    std::vector<DGSTATUS> cancelAnswers;      ///< used up from the front; then success
    std::vector<std::uint32_t> cancels;       ///< transaction IDs
    unsigned resets = 0;
    std::optional<UsbId> usbId;
    std::set<OperationCode>
        stalls; ///< operations whose data phase halts the line; data going out is refused by response
    std::uint64_t zerosBehind = 0;                  ///< how many bytes more follow on the data of a phase that comes in
    std::size_t blockSize = std::size_t{100} << 10; ///< of data phases, both ways

    void announce(std::initializer_list<OperationCode> operations);
    [[nodiscard]] std::vector<OperationCode> operations() const;
    [[nodiscard]] std::size_t count(OperationCode operation) const;
    [[nodiscard]] std::unique_ptr<Transport> transport();
    /// Opens a session that has to open, and forgets the commands that did it.
    [[nodiscard]] std::unique_ptr<Session> open(const QuirkTable& table = QuirkTable());
    void raise(EventCode code, std::initializer_list<std::uint32_t> parameters);
    void raiseRaw(Bytes container);

private:
    friend class ScriptedTransport;
    struct Line {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<Bytes> events;
        bool closed = false;
    };
    std::shared_ptr<Line> _line = std::make_shared<Line>();
};

/// Builds property list datasets row by row.
class Rows {
public:
    Rows& add(std::uint32_t handle, ObjectPropertyCode property, PropertyValue value);
    /// The rows that every object has.
    Rows& object(std::uint32_t handle, std::uint32_t storage, std::uint32_t parent, FormatCode format,
                 std::uint64_t size, const std::u16string& name);
    [[nodiscard]] Bytes encoded() const { return encode(std::span<const ObjectPropElement>(_elements)); }

private:
    std::vector<ObjectPropElement> _elements;
};

} // namespace mtpsdk::test
