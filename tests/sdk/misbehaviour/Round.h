// SPDX-License-Identifier: MIT
#pragma once

#include "FaultySource.h"
#include "vemomtpsdk/Functions.h"

#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace mtpsdk::test {

/// One plug-in over a line that misbehaves: some operations through the library's functions, as an application makes
/// them, and what has to hold whatever they came to. The same seed does the same.
class Round {
public:
    /// `local`: an empty folder for what is sent and received. `beforeCall` is told of each call that is made.
    /// `mayVanish`: the line may go for good in mid-transfer. A real device must not be left so without its cable being
    /// pulled: it waits for the rest.
    Round(FaultySource& source, std::uint32_t seed, bool mayVanish, std::filesystem::path local,
          std::function<void()> beforeCall);
    ~Round();
    Round(const Round&) = delete;
    Round& operator=(const Round&) = delete;

    /// What did not hold; empty when all did.
    [[nodiscard]] std::string run();
    [[nodiscard]] unsigned transfers() const { return _transfers; }
    [[nodiscard]] unsigned failedTransfers() const { return _failedTransfers; }

private:
    using Operation = void (Round::*)();

    [[nodiscard]] bool open();
    void listAll();
    void makeFolder();
    void send();
    void receive();
    void readMedia();
    void renameFile();
    void deleteFile();
    void makePlaylist();
    void readDevice();

    [[nodiscard]] std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(_random() % limit); }
    /// Any file of the work folder as listed; null when there is none.
    [[nodiscard]] _MTP_FILE_NODE* anyFile();
    [[nodiscard]] _MTP_COMMON_NODE* folder();
    void checkReceived(const std::string& name, const std::filesystem::path& path, std::uint64_t size);
    void checkLocal();
    void count(DGSTATUS transfer);
    void complain(const std::string& what);

    FaultySource& _source;
    const std::filesystem::path _local;
    const std::function<void()> _beforeCall;
    std::mt19937 _random;
    bool _alters = false; ///< what comes from the device may not be what it said
    std::string _problem;

    _MTP_DEVICE_NODE* _head = nullptr;
    _MTP_DEVICE_NODE* _device = nullptr;
    _MTP_STORAGE_NODE* _storage = nullptr;
    unsigned _received = 0;
    unsigned _transfers = 0;
    unsigned _failedTransfers = 0;
    std::vector<std::string> _expected; ///< names of the local files that have to be there
};

} // namespace mtpsdk::test
