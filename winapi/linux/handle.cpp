#include "winapi/linux/handle.h"

#include <atomic>
#include <map>
#include <mutex>

#include "winapi/linux/control.h"

namespace winapi {
namespace {

// Each handle has a number of its own, so that one which was closed stays invalid.
struct Table {
    std::shared_mutex mutex;
    std::map<HANDLE, std::shared_ptr<Object>> open;
    std::uintptr_t last = 0;
    std::atomic<std::uint64_t> misuses{0};
};

}  // namespace

HANDLE insert_handle(std::shared_ptr<Object> object) {
    Table& table = the<Table>();
    const std::unique_lock lock(table.mutex);
    table.last += 4;                                           // the two low bits are clear, as Windows' are
    const auto handle = reinterpret_cast<HANDLE>(table.last);  // NOLINT(performance-no-int-to-ptr)
    table.open[handle] = std::move(object);
    return handle;
}

std::shared_ptr<Object> find_handle(HANDLE handle) {
    Table& table = the<Table>();
    const std::shared_lock lock(table.mutex);
    const auto found = table.open.find(handle);
    if (found != table.open.end()) return found->second;
    count_misuse();
    return nullptr;
}

DWORD close_handle(HANDLE handle) {
    Table& table = the<Table>();
    std::unique_lock lock(table.mutex);
    const auto closed = table.open.extract(handle);
    lock.unlock();
    if (!closed.empty()) return closed.mapped()->close();
    count_misuse();
    return ERROR_INVALID_HANDLE;
}

Inheritance inheritable_descriptors() {
    Inheritance result{std::shared_lock(the<Table>().mutex), {}};
    for (const auto& [handle, object] : the<Table>().open) {
        if (object->inheritable && object->descriptor() >= 0) result.descriptors.push_back(object->descriptor());
    }
    return result;
}

bool set_inheritable(HANDLE handle, bool inheritable) {
    const auto object = find_handle(handle);
    const std::unique_lock lock(the<Table>().mutex);
    if (object != nullptr) object->inheritable = inheritable;
    return object != nullptr;
}

void count_misuse() {
    ++the<Table>().misuses;
}

std::uint64_t misuses() {
    return the<Table>().misuses;
}

size_t open_handles() {
    const std::shared_lock lock(the<Table>().mutex);
    return the<Table>().open.size();
}

std::string describe_open_handles() {
    const std::shared_lock lock(the<Table>().mutex);
    std::string text;
    for (const auto& [handle, object] : the<Table>().open) text += std::string(object->kind()) + "\n";
    return text;
}

}  // namespace winapi
