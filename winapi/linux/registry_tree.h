// Internal to the layer: the registry's keys and values, for the registry functions.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "winapi/linux/types.h"

namespace winapi::registry {

constexpr size_t longest_key_name = 255;

struct Value {
    std::u16string name;  // as first written
    DWORD type = 0;
    std::vector<BYTE> data;
};

struct Key {
    std::u16string name;
    std::weak_ptr<Key> parent;
    // Both by the folded name, which is the order of enumeration too.
    std::map<std::u16string, std::shared_ptr<Key>> subkeys;
    std::map<std::u16string, Value> values;
    // The subkeys by index: built when they are enumerated, dropped when one is added or removed.
    std::vector<const Key*> numbered;
    FILETIME last_write{};
    bool deleted = false;  // while handles to it are still open
};

// The mutex guards the root and every key.
struct Tree {
    std::mutex mutex;
    std::shared_ptr<Key> root = std::make_shared<Key>();
};

Tree& tree();

// The form of a name in which letter case makes no difference.
std::u16string fold(const std::u16string& name);

// The caller holds the lock or is the only user of the key.
std::shared_ptr<Key> add_subkey(const std::shared_ptr<Key>& parent, const std::u16string& name);
void remove_subkey(Key& parent, const std::u16string& name);
// The subkey of that number in the order of their names; null when there are not so many. The caller holds the lock.
const Key* numbered_subkey(Key& parent, size_t number);
void set_value(Key& key, const std::u16string& name, DWORD type, std::vector<BYTE> data);

}  // namespace winapi::registry
