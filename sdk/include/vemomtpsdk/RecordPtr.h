// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Export.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Record memory: the library's records carry 32-bit pointers on every host. All records and their texts live in one
/// address range of 4 GiB, reserved at first use and committed as it fills; a pointer field holds the offset into it.
/// The service allocates the records that it builds from the same memory, so the library's release functions accept
/// them. All functions may be called from any thread.
extern "C" {
/// First byte of the range. Offset 0 is never handed out.
VEMO_EXPORT std::byte* mtpRecordMemoryBase(void);
/// Zero-filled memory, 16-byte aligned; null when the range is exhausted. Release with mtpRecordFree.
VEMO_EXPORT void* mtpRecordAllocate(std::size_t size);
/// Accepts null. Memory that mtpRecordAllocate did not hand out, or that is free already, is left alone.
VEMO_EXPORT void mtpRecordFree(void* memory);
/// Bytes handed out and not freed: zero once everything was released (for leak checks).
VEMO_EXPORT std::size_t mtpRecordBytesInUse(void);
}

/// A 32-bit pointer to T inside the record memory. May lie at any address: it has no alignment.
template <typename T>
class RecordPtr {
public:
    RecordPtr() = default;
    RecordPtr(T* pointer) { set(pointer); }
    RecordPtr& operator=(T* pointer) {
        set(pointer);
        return *this;
    }

    [[nodiscard]] T* get() const {
        const std::uint32_t offset = value();
        return offset == 0 ? nullptr : reinterpret_cast<T*>(mtpRecordMemoryBase() + offset);
    }
    operator T*() const { return get(); }
    T* operator->() const { return get(); }

    /// The number that the field holds: the address as the library's interface knows it.
    [[nodiscard]] std::uint32_t value() const {
        std::uint32_t offset = 0;
        std::memcpy(&offset, _bytes, sizeof offset);
        return offset;
    }

private:
    void set(T* pointer) {
        std::uint32_t offset = 0;
        if (pointer != nullptr) {
            offset = static_cast<std::uint32_t>(reinterpret_cast<const std::byte*>(pointer) - mtpRecordMemoryBase());
        }
        std::memcpy(_bytes, &offset, sizeof offset);
    }
    unsigned char _bytes[4] = {};
};
static_assert(sizeof(RecordPtr<int>) == 4 && alignof(RecordPtr<int>) == 1);
