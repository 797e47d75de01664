// The registry's keys and values.
#include "winapi/linux/registry_tree.h"

#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/time.h"

namespace winapi::registry {
namespace {

void mark_deleted(Key& key) {
    key.deleted = true;
    for (const auto& [name, subkey] : key.subkeys) mark_deleted(*subkey);
}

}  // namespace

Tree& tree() {
    static Tree* const instance = new Tree;  // outlives every static of the process
    return *instance;
}

std::u16string fold(const std::u16string& name) {
    std::u16string folded = name;
    for (WCHAR& c : folded) c = fold_case(c);
    return folded;
}

std::shared_ptr<Key> add_subkey(const std::shared_ptr<Key>& parent, const std::u16string& name) {
    std::shared_ptr<Key>& place = parent->subkeys[fold(name)];
    if (place == nullptr) {
        place = std::make_shared<Key>();
        place->name = name;
        place->parent = parent;
        parent->numbered.clear();
        GetSystemTimeAsFileTime(&place->last_write);
        parent->last_write = place->last_write;
    }
    return place;
}

void remove_subkey(Key& parent, const std::u16string& name) {
    parent.subkeys.erase(fold(name));
    parent.numbered.clear();
}

const Key* numbered_subkey(Key& parent, size_t number) {
    if (parent.numbered.empty()) {
        for (const auto& [name, subkey] : parent.subkeys) parent.numbered.push_back(subkey.get());
    }
    return number < parent.numbered.size() ? parent.numbered[number] : nullptr;
}

void set_value(Key& key, const std::u16string& name, DWORD type, std::vector<BYTE> data) {
    Value& value = key.values.try_emplace(fold(name), Value{name, type, {}}).first->second;
    value.type = type;
    value.data = std::move(data);
    GetSystemTimeAsFileTime(&key.last_write);
}

}  // namespace winapi::registry

void winapi::clear_registry() {
    const std::lock_guard lock(registry::tree().mutex);
    registry::mark_deleted(*registry::tree().root);
    registry::tree().root = std::make_shared<registry::Key>();
}
