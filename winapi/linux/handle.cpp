#include "winapi/linux/handle.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"

namespace winapi {
namespace {

// A handle is its slot's number and the slot's generation, shifted like Windows' (the two low bits are clear), so
// that a handle which was closed stays invalid after its slot is used again.
struct Slot {
    std::shared_ptr<Object> object;
    std::uint32_t generation = 1;
};

struct Table {
    std::shared_mutex mutex;
    std::vector<Slot> slots;
    std::vector<std::uint32_t> free;
    std::atomic<std::uint64_t> misuses{0};
};

Table& table() {
    static Table* const instance = new Table;  // outlives every static of the process
    return *instance;
}

HANDLE make_handle(std::uint32_t index, std::uint32_t generation) {
    const std::uint64_t value = (std::uint64_t{generation} << 24 | (index + 1)) << 2;
    return reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
}

// The caller holds the table's lock.
Slot* slot_of(Table& t, HANDLE handle) {
    const auto value = reinterpret_cast<std::uint64_t>(handle) >> 2;
    const auto index = static_cast<std::uint32_t>(value & 0xFFFFFF);
    const auto generation = static_cast<std::uint32_t>(value >> 24);
    if (index == 0 || index > t.slots.size()) return nullptr;
    Slot& slot = t.slots[index - 1];
    return slot.object != nullptr && slot.generation == generation ? &slot : nullptr;
}

}  // namespace

HANDLE insert_handle(std::shared_ptr<Object> object) {
    Table& t = table();
    const std::unique_lock lock(t.mutex);
    std::uint32_t index = 0;
    if (t.free.empty()) {
        index = static_cast<std::uint32_t>(t.slots.size());
        t.slots.emplace_back();
    } else {
        index = t.free.back();
        t.free.pop_back();
    }
    t.slots[index].object = std::move(object);
    return make_handle(index, t.slots[index].generation);
}

std::shared_ptr<Object> find_handle(HANDLE handle) {
    Table& t = table();
    {
        const std::shared_lock lock(t.mutex);
        if (const Slot* slot = slot_of(t, handle)) return slot->object;
    }
    count_misuse();
    return nullptr;
}

DWORD close_handle(HANDLE handle) {
    Table& t = table();
    std::shared_ptr<Object> object;
    {
        const std::unique_lock lock(t.mutex);
        Slot* const slot = slot_of(t, handle);
        if (slot != nullptr) {
            object = std::move(slot->object);
            slot->object = nullptr;
            ++slot->generation;
            t.free.push_back(static_cast<std::uint32_t>(slot - t.slots.data()));
        }
    }
    if (object == nullptr) {
        count_misuse();
        return ERROR_INVALID_HANDLE;
    }
    return object->close();
}

Inheritance inheritable_descriptors() {
    Table& t = table();
    Inheritance result{std::shared_lock(t.mutex), {}};
    for (const Slot& slot : t.slots) {
        if (slot.object != nullptr && slot.object->inheritable && slot.object->descriptor() >= 0) {
            result.descriptors.push_back(slot.object->descriptor());
        }
    }
    return result;
}

bool set_inheritable(HANDLE handle, bool inheritable) {
    Table& t = table();
    {
        const std::unique_lock lock(t.mutex);
        if (const Slot* slot = slot_of(t, handle)) {
            slot->object->inheritable = inheritable;
            return true;
        }
    }
    count_misuse();
    return false;
}

void count_misuse() {
    ++table().misuses;
}

std::uint64_t misuses() {
    return table().misuses;
}

size_t open_handles() {
    Table& t = table();
    const std::shared_lock lock(t.mutex);
    return t.slots.size() - t.free.size();
}

std::string describe_open_handles() {
    Table& t = table();
    const std::shared_lock lock(t.mutex);
    std::string text;
    for (const Slot& slot : t.slots) {
        if (slot.object != nullptr) text += std::string(slot.object->kind()) + "\n";
    }
    return text;
}

}  // namespace winapi
