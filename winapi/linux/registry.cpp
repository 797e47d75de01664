// The registry: a tree in memory.
#include "winapi/linux/registry.h"

#include <algorithm>
#include <cstring>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/registry_tree.h"

namespace {

using winapi::registry::Key;
using winapi::registry::tree;
using winapi::registry::Value;

using winapi::fault::Point;

Point open_point("RegOpenKeyExW");
Point create_point("RegCreateKeyExW");
Point close_point("RegCloseKey");
Point query_point("RegQueryValueExW");
Point set_point("RegSetValueExW");
Point delete_value_point("RegDeleteValueW");
Point delete_key_point("RegDeleteKeyW");
Point enum_point("RegEnumKeyExW");

constexpr LSTATUS bad_pathname = 161;

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
    if (handle == HKEY_LOCAL_MACHINE) {
        key = tree().root;
        return ERROR_SUCCESS;
    }
    const auto open = winapi::find_handle_as<OpenKey>(handle);
    if (open == nullptr) return status(ERROR_INVALID_HANDLE);
    if ((open->access & needed) != needed) return status(ERROR_ACCESS_DENIED);
    if (open->key->deleted) return status(ERROR_KEY_DELETED);
    key = open->key;
    return ERROR_SUCCESS;
}

LSTATUS split_path(LPCWSTR path, std::vector<std::u16string>& names) {
    const std::u16string text = path != nullptr ? path : u"";
    if (!text.empty() && text[0] == u'\\') return bad_pathname;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(u'\\', at), text.size());
        if (end - at > winapi::registry::longest_key_name) return status(ERROR_INVALID_PARAMETER);
        if (end > at) names.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return ERROR_SUCCESS;
}

// No right on the handle is asked for, neither to open a key below it nor to create one: Windows checks the
// key itself against the caller, who may do everything here.
LSTATUS walk(HKEY handle, LPCWSTR path, bool create, std::shared_ptr<Key>& key, bool& created) {
    LSTATUS error = find_key(handle, 0, key);
    std::vector<std::u16string> names;
    if (error == ERROR_SUCCESS) error = split_path(path, names);
    if (error != ERROR_SUCCESS) return error;
    for (const std::u16string& name : names) {
        const auto child = key->subkeys.find(winapi::registry::fold(name));
        const bool found = child != key->subkeys.end();
        if (!found && !create) return status(ERROR_FILE_NOT_FOUND);
        key = found ? child->second : winapi::registry::add_subkey(key, name);
        created = created || !found;
    }
    return ERROR_SUCCESS;
}

bool known_access(REGSAM access) {
    constexpr REGSAM view_64 = 0x100;
    return (access & ~(KEY_ALL_ACCESS | view_64)) == 0;
}

HKEY insert_key(std::shared_ptr<Key> key, REGSAM access) {
    return reinterpret_cast<HKEY>(winapi::insert_handle(std::make_shared<OpenKey>(std::move(key), access)));
}

std::u16string folded_value_name(LPCWSTR value) {
    return winapi::registry::fold(value != nullptr ? value : u"");
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subkey, DWORD options, REGSAM access, HKEY* result) {
    if (open_point.fails()) return status(ERROR_ACCESS_DENIED);
    if (result == nullptr || options != 0 || !known_access(access)) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(tree().mutex);
    std::shared_ptr<Key> found;
    bool created = false;
    const LSTATUS error = walk(key, subkey, false, found, created);
    if (error == ERROR_SUCCESS) *result = insert_key(std::move(found), access);
    return error;
}

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR key_class, DWORD options, REGSAM access,
                        const SECURITY_ATTRIBUTES* security, HKEY* result, DWORD* disposition) {
    if (create_point.fails()) return status(ERROR_ACCESS_DENIED);
    if (subkey == nullptr) return status(ERROR_BADKEY);
    if (result == nullptr || reserved != 0 || key_class != nullptr || options != REG_OPTION_NON_VOLATILE ||
        !known_access(access) || (security != nullptr && security->lpSecurityDescriptor != nullptr)) {
        return status(ERROR_INVALID_PARAMETER);
    }
    const std::lock_guard lock(tree().mutex);
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
    if (winapi::find_handle_as<OpenKey>(key) == nullptr) return status(ERROR_INVALID_HANDLE);
    const DWORD error = winapi::close_handle(key);
    return status(injected ? ERROR_INVALID_HANDLE : error);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR value, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    if (query_point.fails()) return status(ERROR_NOT_ENOUGH_MEMORY);
    if (reserved != nullptr || (data != nullptr && size == nullptr)) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(tree().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_QUERY_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const auto found = open->values.find(folded_value_name(value));
    if (found == open->values.end()) return status(ERROR_FILE_NOT_FOUND);
    const Value& stored = found->second;
    if (type != nullptr) *type = stored.type;
    if (size == nullptr) return ERROR_SUCCESS;
    const DWORD room = *size;
    *size = static_cast<DWORD>(stored.data.size());
    if (data == nullptr) return ERROR_SUCCESS;
    if (room < stored.data.size()) return status(ERROR_MORE_DATA);
    std::copy(stored.data.begin(), stored.data.end(), data);
    return ERROR_SUCCESS;
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR value, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (set_point.fails()) return status(ERROR_NO_SYSTEM_RESOURCES);
    if (reserved != 0 || (data == nullptr && size > 0)) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(tree().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_SET_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    winapi::registry::set_value(*open, value != nullptr ? value : u"", type, {data, data + size});
    return ERROR_SUCCESS;
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR value) {
    if (delete_value_point.fails()) return status(ERROR_ACCESS_DENIED);
    const std::lock_guard lock(tree().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_SET_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    return open->values.erase(folded_value_name(value)) != 0 ? ERROR_SUCCESS : status(ERROR_FILE_NOT_FOUND);
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR subkey) {
    if (delete_key_point.fails()) return status(ERROR_ACCESS_DENIED);
    if (subkey == nullptr) return status(ERROR_INVALID_PARAMETER);
    const std::lock_guard lock(tree().mutex);
    std::shared_ptr<Key> found;
    bool created = false;
    const LSTATUS error = walk(key, subkey, false, found, created);
    if (error != ERROR_SUCCESS) return error;
    const auto parent = found->parent.lock();
    if (parent == nullptr || !found->subkeys.empty()) return status(ERROR_ACCESS_DENIED);
    found->deleted = true;
    winapi::registry::remove_subkey(*parent, found->name);
    return ERROR_SUCCESS;
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* name_size, DWORD* reserved, LPWSTR key_class,
                      DWORD* class_size, FILETIME* last_write) {
    if (enum_point.fails()) return status(ERROR_NO_SYSTEM_RESOURCES);
    if (name == nullptr || name_size == nullptr || reserved != nullptr || key_class != nullptr ||
        class_size != nullptr) {
        return status(ERROR_INVALID_PARAMETER);
    }
    const std::lock_guard lock(tree().mutex);
    std::shared_ptr<Key> open;
    const LSTATUS error = find_key(key, KEY_ENUMERATE_SUB_KEYS, open);
    if (error != ERROR_SUCCESS) return error;
    const Key* const found = winapi::registry::numbered_subkey(*open, index);
    if (found == nullptr) return status(ERROR_NO_MORE_ITEMS);
    const Key& subkey = *found;
    if (*name_size <= subkey.name.size()) return status(ERROR_MORE_DATA);
    std::copy_n(subkey.name.c_str(), subkey.name.size() + 1, name);
    *name_size = static_cast<DWORD>(subkey.name.size());
    if (last_write != nullptr) *last_write = subkey.last_write;
    return ERROR_SUCCESS;
}
