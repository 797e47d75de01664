// The registry: a tree in memory.
#include "winapi/linux/registry.h"

#include <algorithm>
#include <map>
#include <mutex>

#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

namespace {

using winapi::the;
using winapi::fault::Point;

Point open_point("RegOpenKeyExW");
Point create_point("RegCreateKeyExW");
Point close_point("RegCloseKey");
Point query_point("RegQueryValueExW");
Point set_point("RegSetValueExW");
Point delete_value_point("RegDeleteValueW");
Point delete_key_point("RegDeleteKeyW");
Point enum_point("RegEnumKeyExW");

struct Value {
    std::u16string name;  // folded
    DWORD type = 0;
    std::vector<BYTE> data;
};

struct Key {
    std::u16string name;  // as first written
    std::weak_ptr<Key> parent;
    // By the folded name, which is the order of enumeration too.
    std::map<std::u16string, std::shared_ptr<Key>> subkeys;
    std::vector<Value> values;  // a handful, looked through in turn
    // The subkey that the next index names, so that an enumeration goes on where it was; 0: there was none.
    DWORD next_index = 0;
    std::map<std::u16string, std::shared_ptr<Key>>::iterator next{};

    std::vector<Value>::iterator find_value(const std::u16string& folded) {
        return std::find_if(values.begin(), values.end(), [&](const Value& one) { return one.name == folded; });
    }
};

// The mutex guards the root and every key.
struct Tree {
    std::mutex mutex;
    std::shared_ptr<Key> root = std::make_shared<Key>();
};

// The form of a name in which letter case makes no difference.
std::u16string fold(std::u16string name) {
    for (WCHAR& c : name) c = winapi::fold_case(c);
    return name;
}

constexpr LSTATUS bad_pathname = 161;
constexpr size_t longest_key_name = 255;

constexpr LSTATUS status(DWORD error) {
    return static_cast<LSTATUS>(error);
}

struct OpenKey final : winapi::Object {
    OpenKey(std::shared_ptr<Key> key_, REGSAM access_) : key(std::move(key_)), access(access_) {}
    const char* kind() const override { return "key"; }

    const std::shared_ptr<Key> key;
    const REGSAM access;
};

// The key behind a handle that was opened with the needed access. The caller holds the tree's lock.
LSTATUS find_key(HKEY handle, REGSAM needed, std::shared_ptr<Key>& key) {
    key = the<Tree>().root;
    if (handle == HKEY_LOCAL_MACHINE) return ERROR_SUCCESS;
    const auto open = winapi::find_handle_as<OpenKey>(handle);
    if (open == nullptr) return status(ERROR_INVALID_HANDLE);
    if ((open->access & needed) != needed) return status(ERROR_ACCESS_DENIED);
    key = open->key;
    return ERROR_SUCCESS;
}

// No right on the handle is asked for, neither to open a key below it nor to create one: Windows checks the
// key itself against the caller, who may do everything here.
LSTATUS walk(HKEY handle, LPCWSTR path, bool create, std::shared_ptr<Key>& key, bool& created) {
    if (const LSTATUS error = find_key(handle, 0, key)) return error;
    const std::u16string text = path != nullptr ? path : u"";
    if (text.starts_with(u'\\')) return bad_pathname;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(u'\\', at), text.size());
        const std::u16string name = text.substr(at, end - at);
        at = end + 1;
        if (name.empty()) continue;
        if (name.size() > longest_key_name) return status(ERROR_INVALID_PARAMETER);
        std::shared_ptr<Key> found;
        const auto place = key->subkeys.find(fold(name));
        created = place == key->subkeys.end();
        if (!created) {
            found = place->second;
        } else if (create) {
            key->subkeys[fold(name)] = found = std::make_shared<Key>(Key{name, key, {}, {}});
            key->next_index = 0;
        } else {
            return status(ERROR_FILE_NOT_FOUND);
        }
        key = std::move(found);
    }
    return ERROR_SUCCESS;
}

HKEY insert_key(std::shared_ptr<Key> key, REGSAM access) {
    return reinterpret_cast<HKEY>(winapi::insert_handle(std::make_shared<OpenKey>(std::move(key), access)));
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subkey, DWORD options, REGSAM access, HKEY* result) {
    if (open_point.fails()) return status(ERROR_ACCESS_DENIED);
    if (options != 0) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> found;
    bool created = false;
    const LSTATUS error = walk(key, subkey, false, found, created);
    if (error == ERROR_SUCCESS) *result = insert_key(std::move(found), access);
    return error;
}

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR key_class, DWORD options, REGSAM access,
                        const SECURITY_ATTRIBUTES* security, HKEY* result, DWORD* disposition) {
    if (create_point.fails()) return status(ERROR_ACCESS_DENIED);
    if (reserved != 0 || key_class != nullptr || options != REG_OPTION_NON_VOLATILE || security != nullptr) {
        return status(ERROR_INVALID_PARAMETER);
    }
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> found;
    bool created = false;
    const LSTATUS error = walk(key, subkey, true, found, created);
    if (error != ERROR_SUCCESS) return error;
    *result = insert_key(std::move(found), access);
    if (disposition != nullptr) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY key) {
    const bool injected = close_point.fails();
    if (key == HKEY_LOCAL_MACHINE) return ERROR_SUCCESS;
    const DWORD error = winapi::close_handle(key);
    return status(injected ? ERROR_INVALID_HANDLE : error);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR value, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    if (query_point.fails()) return status(ERROR_NOT_ENOUGH_MEMORY);
    if (reserved != nullptr || size == nullptr) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_QUERY_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const auto found = open->find_value(fold(value));
    if (found == open->values.end()) return status(ERROR_FILE_NOT_FOUND);
    const Value& stored = *found;
    if (type != nullptr) *type = stored.type;
    const DWORD room = *size;
    *size = static_cast<DWORD>(stored.data.size());
    if (data == nullptr) return ERROR_SUCCESS;
    if (room < stored.data.size()) return status(ERROR_MORE_DATA);
    std::copy(stored.data.begin(), stored.data.end(), data);
    return ERROR_SUCCESS;
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR value, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (set_point.fails()) return status(ERROR_NO_SYSTEM_RESOURCES);
    if (reserved != 0) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_SET_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const Value set = {fold(value), type, {data, data + size}};
    const auto found = open->find_value(set.name);
    if (found == open->values.end()) {
        open->values.push_back(set);
    } else {
        *found = set;
    }
    return ERROR_SUCCESS;
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR value) {
    if (delete_value_point.fails()) return status(ERROR_ACCESS_DENIED);
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_SET_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const auto found = open->find_value(fold(value));
    if (found == open->values.end()) return status(ERROR_FILE_NOT_FOUND);
    open->values.erase(found);
    return ERROR_SUCCESS;
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR subkey) {
    if (delete_key_point.fails()) return status(ERROR_ACCESS_DENIED);
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> found;
    bool created = false;
    const LSTATUS error = walk(key, subkey, false, found, created);
    if (error != ERROR_SUCCESS) return error;
    const auto parent = found->parent.lock();
    if (parent == nullptr || !found->subkeys.empty()) return status(ERROR_ACCESS_DENIED);
    parent->subkeys.erase(fold(found->name));
    parent->next_index = 0;
    return ERROR_SUCCESS;
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* name_size, DWORD* reserved, LPWSTR key_class,
                      DWORD* class_size, FILETIME* last_write) {
    if (enum_point.fails()) return status(ERROR_NO_SYSTEM_RESOURCES);
    if (reserved != nullptr || key_class != nullptr || class_size != nullptr || last_write != nullptr) {
        return status(ERROR_INVALID_PARAMETER);
    }
    const std::lock_guard lock(the<Tree>().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_ENUMERATE_SUB_KEYS, open);
    if (error != ERROR_SUCCESS) return error;
    if (index >= open->subkeys.size()) return status(ERROR_NO_MORE_ITEMS);
    if (index == 0 || index != open->next_index) {
        open->next = std::next(open->subkeys.begin(), index);
        open->next_index = index;
    }
    const std::u16string& found = open->next->second->name;
    if (*name_size <= found.size()) return status(ERROR_MORE_DATA);
    std::copy_n(found.c_str(), found.size() + 1, name);
    *name_size = static_cast<DWORD>(found.size());
    ++open->next;
    ++open->next_index;
    return ERROR_SUCCESS;
}

void winapi::clear_registry() {
    const std::lock_guard lock(the<Tree>().mutex);
    the<Tree>().root = std::make_shared<Key>();
}
