// SPDX-License-Identifier: MIT
#include "tree/RecordMemory.h"

#include "platform/Monitor.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define RECORD_MEMORY_POISONED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RECORD_MEMORY_POISONED 1
#endif
#endif
#if defined(RECORD_MEMORY_POISONED)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#endif

namespace mtpsdk {
namespace {

// A host with 32-bit addresses cannot set aside as much as a 32-bit offset could reach.
constexpr std::size_t rangeSize =
    sizeof(void*) >= 8 ? static_cast<std::size_t>(std::uint64_t{1} << 32U) : std::size_t{1} << 28U;
constexpr std::size_t slabSize = 64 * 1024;
constexpr std::uint32_t slabCount = static_cast<std::uint32_t>(rangeSize / slabSize);
constexpr std::size_t alignment = 16;
constexpr std::size_t fineLimit = 1024; // below it a size class every 16 bytes, above it one every power of two
constexpr std::size_t classLimit = slabSize / 2;
constexpr std::size_t fineClasses = fineLimit / alignment;
constexpr std::size_t classCount = fineClasses + std::countr_zero(classLimit / fineLimit);
constexpr std::uint16_t noBlock = std::numeric_limits<std::uint16_t>::max();

constexpr std::size_t classOf(std::size_t size) {
    if (size <= fineLimit) {
        return (size + alignment - 1) / alignment - 1;
    }
    return fineClasses + static_cast<std::size_t>(std::bit_width((size - 1) / fineLimit)) - 1;
}

constexpr std::size_t classBlockSize(std::size_t sizeClass) {
    return sizeClass < fineClasses ? (sizeClass + 1) * alignment : fineLimit << (sizeClass - fineClasses + 1);
}

/// 64 KiB of the range, cut into blocks of one size; a larger block is a slab of its own that spans several places.
/// The bookkeeping lies outside, so that a caller's stray write cannot damage it.
struct Slab {
    std::size_t blockSize = 0;
    std::uint32_t index = 0;
    std::uint32_t span = 1; ///< places of slabSize bytes
    std::uint16_t blocks = 0;
    std::uint16_t used = 0;
    std::uint16_t touched = 0;        ///< blocks from here on were never handed out
    std::uint16_t free = noBlock;     ///< first of the chain of released blocks
    std::vector<std::uint16_t> words; ///< of a live block its unused tail, of a released one the next of the chain
    std::vector<bool> live;
    Slab* previous = nullptr; ///< among the slabs of its class that have room
    Slab* next = nullptr;

    [[nodiscard]] bool full() const { return used == blocks; }
    [[nodiscard]] std::size_t usable(std::uint16_t block) const { return blockSize - words[block]; }
};

std::byte* reserveRange() {
    void* range = mmap(nullptr, rangeSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return range == MAP_FAILED ? nullptr : static_cast<std::byte*>(range);
}

std::byte* rangeBase() {
    static std::byte* const base = reserveRange();
    return base;
}

class RecordMemory {
public:
    void* allocate(std::size_t size);
    void release(const void* memory);
    [[nodiscard]] std::size_t bytesInUse();
    [[nodiscard]] std::size_t bytesFrom(const void* memory);
    [[nodiscard]] bool copy(const void* memory, void* target, std::size_t size);

private:
    struct Place {
        Slab* slab = nullptr;
        std::uint16_t block = 0;
        std::size_t offset = 0; ///< within the block
    };
    [[nodiscard]] Place find(const void* memory) const PLATFORM_REQUIRES(_mutex);
    Slab* slabWithRoom(std::size_t size) PLATFORM_REQUIRES(_mutex);
    Slab* newSlab(std::size_t blockSize, std::uint32_t span) PLATFORM_REQUIRES(_mutex);
    std::uint32_t takePlaces(std::uint32_t span) PLATFORM_REQUIRES(_mutex);
    void dropSlab(Slab* slab) PLATFORM_REQUIRES(_mutex);
    void link(Slab* slab) PLATFORM_REQUIRES(_mutex);
    void unlink(Slab* slab) PLATFORM_REQUIRES(_mutex);

    platform::Mutex _mutex;
    /// Per place the slab that covers it. Place 0 stays empty: offset 0 is the null pointer.
    std::vector<Slab*> _places PLATFORM_GUARDED_BY(_mutex) = std::vector<Slab*>(1);
    std::uint32_t _firstEmpty PLATFORM_GUARDED_BY(_mutex) = 1; ///< no place below it is empty
    std::array<Slab*, classCount> _withRoom PLATFORM_GUARDED_BY(_mutex){};
    std::size_t _bytesInUse PLATFORM_GUARDED_BY(_mutex) = 0;
};

RecordMemory::Place RecordMemory::find(const void* memory) const {
    const std::byte* base = rangeBase();
    const std::uintptr_t distance = reinterpret_cast<std::uintptr_t>(memory) - reinterpret_cast<std::uintptr_t>(base);
    if (base == nullptr || memory == nullptr || distance / slabSize >= _places.size()) {
        return {};
    }
    Slab* slab = _places[distance / slabSize];
    if (slab == nullptr) {
        return {};
    }
    const std::size_t within = distance - slab->index * slabSize;
    const std::size_t block = within / slab->blockSize;
    if (block >= slab->blocks || !slab->live[block]) {
        return {};
    }
    return {slab, static_cast<std::uint16_t>(block), within % slab->blockSize};
}

/// The first `span` neighbouring places that no slab covers, or new ones at the end; 0 when the range is exhausted.
std::uint32_t RecordMemory::takePlaces(std::uint32_t span) {
    const auto empty = [](const Slab* slab) { return slab == nullptr; };
    const auto begin = std::find_if(_places.begin() + _firstEmpty, _places.end(), empty);
    _firstEmpty = static_cast<std::uint32_t>(begin - _places.begin());
    const auto found = std::search_n(begin, _places.end(), span, static_cast<Slab*>(nullptr));
    if (found != _places.end()) {
        return static_cast<std::uint32_t>(found - _places.begin());
    }
    const std::size_t place = _places.size();
    if (span > slabCount - place || mprotect(rangeBase() + place * slabSize, span * slabSize, PROT_READ | PROT_WRITE)) {
        return 0;
    }
    _places.resize(place + span);
    return static_cast<std::uint32_t>(place);
}

Slab* RecordMemory::newSlab(std::size_t blockSize, std::uint32_t span) {
    auto slab = std::make_unique<Slab>();
    slab->blockSize = blockSize;
    slab->span = span;
    slab->blocks = static_cast<std::uint16_t>(span * slabSize / blockSize);
    slab->words.resize(slab->blocks);
    slab->live.resize(slab->blocks);
    slab->index = takePlaces(span);
    if (slab->index == 0) {
        return nullptr;
    }
    std::fill_n(_places.begin() + slab->index, span, slab.get());
    ASAN_POISON_MEMORY_REGION(rangeBase() + slab->index * slabSize, span * slabSize);
    return slab.release();
}

/// The places of an empty slab go back to the system and serve any size class next.
void RecordMemory::dropSlab(Slab* slab) {
    const std::unique_ptr<Slab> owned(slab);
    std::byte* memory = rangeBase() + slab->index * slabSize;
    ASAN_UNPOISON_MEMORY_REGION(memory, slab->span * slabSize);
    madvise(memory, slab->span * slabSize, MADV_DONTNEED);
    std::fill_n(_places.begin() + slab->index, slab->span, nullptr);
    _firstEmpty = std::min(_firstEmpty, slab->index);
}

void RecordMemory::link(Slab* slab) {
    Slab*& head = _withRoom[classOf(slab->blockSize)];
    slab->previous = nullptr;
    slab->next = head;
    if (head != nullptr) {
        head->previous = slab;
    }
    head = slab;
}

void RecordMemory::unlink(Slab* slab) {
    if (slab->previous != nullptr) {
        slab->previous->next = slab->next;
    } else {
        _withRoom[classOf(slab->blockSize)] = slab->next;
    }
    if (slab->next != nullptr) {
        slab->next->previous = slab->previous;
    }
    slab->previous = slab->next = nullptr;
}

Slab* RecordMemory::slabWithRoom(std::size_t size) {
    if (size > classLimit) {
        const std::size_t span = (size + slabSize - 1) / slabSize;
        return newSlab(span * slabSize, static_cast<std::uint32_t>(span));
    }
    const std::size_t sizeClass = classOf(size);
    if (_withRoom[sizeClass] == nullptr) {
        Slab* slab = newSlab(classBlockSize(sizeClass), 1);
        if (slab == nullptr) {
            return nullptr;
        }
        link(slab);
    }
    return _withRoom[sizeClass];
}

void* RecordMemory::allocate(std::size_t size) {
    size = std::max(size, std::size_t{1});
    if (rangeBase() == nullptr || size > rangeSize - 2 * slabSize) {
        return nullptr;
    }
    const platform::MutexLock lock(_mutex);
    Slab* slab = slabWithRoom(size);
    if (slab == nullptr) {
        return nullptr;
    }
    std::uint16_t block = slab->free;
    if (block != noBlock) {
        slab->free = slab->words[block];
    } else {
        block = slab->touched++;
    }
    ++slab->used;
    slab->live[block] = true;
    slab->words[block] = static_cast<std::uint16_t>(slab->blockSize - size);
    if (slab->full() && size <= classLimit) {
        unlink(slab);
    }
    _bytesInUse += size;
    std::byte* memory = rangeBase() + slab->index * slabSize + block * slab->blockSize;
    ASAN_UNPOISON_MEMORY_REGION(memory, size);
    std::memset(memory, 0, size);
    return memory;
}

void RecordMemory::release(const void* memory) {
    const platform::MutexLock lock(_mutex);
    const Place place = find(memory);
    if (place.slab == nullptr || place.offset != 0) {
        return;
    }
    Slab* slab = place.slab;
    _bytesInUse -= slab->usable(place.block);
    ASAN_POISON_MEMORY_REGION(memory, slab->blockSize);
    const bool wasFull = slab->full();
    slab->live[place.block] = false;
    slab->words[place.block] = slab->free;
    slab->free = place.block;
    --slab->used;
    if (slab->blockSize > classLimit) {
        dropSlab(slab);
        return;
    }
    if (wasFull) {
        link(slab);
    }
    // One slab with room is kept per class, so that a record that comes and goes does not cost a slab each time.
    if (slab->used == 0 && (slab->previous != nullptr || slab->next != nullptr)) {
        unlink(slab);
        dropSlab(slab);
    }
}

std::size_t RecordMemory::bytesInUse() {
    const platform::MutexLock lock(_mutex);
    return _bytesInUse;
}

std::size_t RecordMemory::bytesFrom(const void* memory) {
    const platform::MutexLock lock(_mutex);
    const Place place = find(memory);
    if (place.slab == nullptr || place.offset >= place.slab->usable(place.block)) {
        return 0;
    }
    return place.slab->usable(place.block) - place.offset;
}

bool RecordMemory::copy(const void* memory, void* target, std::size_t size) {
    const platform::MutexLock lock(_mutex);
    const Place place = find(memory);
    if (place.slab == nullptr || place.offset != 0 || place.slab->usable(place.block) < size) {
        return false;
    }
    std::memcpy(target, memory, size);
    return true;
}

/// Never destroyed: threads that outlive main may still hold records.
RecordMemory& recordMemory() {
    static auto* const memory = new RecordMemory;
    return *memory;
}

} // namespace

std::size_t recordBytesFrom(const void* memory) {
    return recordMemory().bytesFrom(memory);
}
bool copyRecord(const void* memory, void* target, std::size_t size) {
    return recordMemory().copy(memory, target, size);
}

} // namespace mtpsdk

std::byte* mtpRecordMemoryBase(void) {
    return mtpsdk::rangeBase();
}

void* mtpRecordAllocate(std::size_t size) {
    try {
        return mtpsdk::recordMemory().allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void mtpRecordFree(void* memory) {
    if (memory != nullptr) {
        mtpsdk::recordMemory().release(memory);
    }
}

std::size_t mtpRecordBytesInUse(void) {
    return mtpsdk::recordMemory().bytesInUse();
}
