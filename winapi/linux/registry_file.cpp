// The registry as a text file: UTF-8, a line a key and a line a value.
//
//   [SOFTWARE\Tessaron]
//   "InstallPath"=text:"C:\Tessaron"
//   "Level"=dword:00000002
//   "Other"=hex(3):00ff10
//
// "%" and four hexadecimal digits stand for a UTF-16 unit that does not stand for itself (a control
// character, a quote,
// "%", half of a pair). Empty lines and lines that begin with "#" mean nothing.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>

#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/registry.h"
#include "winapi/linux/registry_tree.h"

namespace {

using winapi::registry::Key;
using winapi::registry::Value;

// --- writing
// ----------------------------------------------------------------------------------------------------

bool is_high(WCHAR c) {
    return (c & 0xFC00) == 0xD800;
}
bool is_low(WCHAR c) {
    return (c & 0xFC00) == 0xDC00;
}

std::string hex(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*x", digits, value);
    return text;
}

std::string escaped(const std::u16string& text) {
    std::u16string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const WCHAR c = text[i];
        if (is_high(c) && i + 1 < text.size() && is_low(text[i + 1])) {
            result += c;
            result += text[++i];
        } else if (c < 0x20 || c == 0x7F || c == u'"' || c == u'%' || is_high(c) || is_low(c)) {
            result += u'%';
            for (const char digit : hex(c, 4)) result += static_cast<WCHAR>(digit);
        } else {
            result += c;
        }
    }
    return winapi::to_utf8(result.c_str());
}

// The text of a value that is one with its terminator and nothing behind it.
std::optional<std::u16string> plain_text(const Value& value) {
    const size_t bytes = value.data.size();
    if (value.type != REG_SZ || bytes < sizeof(WCHAR) || bytes % sizeof(WCHAR) != 0) return std::nullopt;
    std::u16string text(bytes / sizeof(WCHAR), 0);
    std::memcpy(text.data(), value.data.data(), bytes);
    if (text.find(u'\0') != text.size() - 1) return std::nullopt;
    text.pop_back();
    return text;
}

std::string value_data(const Value& value) {
    if (const auto text = plain_text(value)) return "text:\"" + escaped(*text) + "\"";
    if (value.type == REG_DWORD && value.data.size() == sizeof(DWORD)) {
        DWORD number = 0;
        std::memcpy(&number, value.data.data(), sizeof number);
        return "dword:" + hex(number, 8);
    }
    std::string bytes = "hex(" + std::to_string(value.type) + "):";
    for (const BYTE byte : value.data) bytes += hex(byte, 2);
    return bytes;
}

void write_key(std::ostream& out, const Key& key, const std::string& path) {
    if (!path.empty() || !key.values.empty()) out << "[" << path << "]\n";
    for (const auto& [folded, value] : key.values) {
        out << "\"" << escaped(value.name) << "\"=" << value_data(value) << "\n";
    }
    for (const auto& [folded, subkey] : key.subkeys) {
        const std::string name = escaped(subkey->name);
        write_key(out, *subkey, path.empty() ? name : path + "\\" + name);
    }
}

// --- reading
// ----------------------------------------------------------------------------------------------------

template <typename Character>
std::optional<unsigned> parse_hex(std::basic_string_view<Character> digits) {
    unsigned value = 0;
    for (const Character c : digits) {
        const bool decimal = c >= '0' && c <= '9';
        if (!decimal && !(c >= 'a' && c <= 'f')) return std::nullopt;
        value = value * 16 + static_cast<unsigned>(decimal ? c - '0' : c - 'a' + 10);
    }
    return value;
}

std::optional<std::u16string> unescaped(std::string_view text) {
    const std::u16string wide = winapi::to_utf16(std::string(text));
    std::u16string result;
    for (size_t i = 0; i < wide.size(); ++i) {
        if (wide[i] != u'%') {
            result += wide[i];
            continue;
        }
        const auto unit = parse_hex(std::u16string_view(wide).substr(i + 1, 4));
        if (!unit || i + 4 >= wide.size()) return std::nullopt;
        result += static_cast<WCHAR>(*unit);
        i += 4;
    }
    return result;
}

// Takes "text" in quotes off the front.
std::optional<std::u16string> take_quoted(std::string_view& line) {
    const size_t end = line.find('"', 1);
    if (line.empty() || line[0] != '"' || end == std::string_view::npos) return std::nullopt;
    const std::string_view inside = line.substr(1, end - 1);
    line.remove_prefix(end + 1);
    return unescaped(inside);
}

bool take(std::string_view& line, std::string_view prefix) {
    if (line.substr(0, prefix.size()) != prefix) return false;
    line.remove_prefix(prefix.size());
    return true;
}

template <typename T>
void append_bytes(Value& value, const T* data, size_t count) {
    const BYTE* const bytes = reinterpret_cast<const BYTE*>(data);
    value.data.insert(value.data.end(), bytes, bytes + count * sizeof(T));
}

// The rest of a "hex(" line.
bool parse_bytes(std::string_view line, Value& value) {
    size_t digits = 0;
    for (; digits < line.size() && line[digits] >= '0' && line[digits] <= '9'; ++digits) {
        value.type = value.type * 10 + static_cast<DWORD>(line[digits] - '0');
    }
    line.remove_prefix(digits);
    if (digits == 0 || !take(line, "):") || line.size() % 2 != 0) return false;
    for (size_t i = 0; i < line.size(); i += 2) {
        const auto byte = parse_hex(line.substr(i, 2));
        if (!byte) return false;
        value.data.push_back(static_cast<BYTE>(*byte));
    }
    return true;
}

bool parse_data(std::string_view line, Value& value) {
    if (take(line, "text:")) {
        const auto text = take_quoted(line);
        if (!text || !line.empty()) return false;
        value.type = REG_SZ;
        append_bytes(value, text->c_str(), text->size() + 1);
        return true;
    }
    if (take(line, "dword:")) {
        const auto number = parse_hex(line);
        if (!number || line.size() != 8) return false;
        value.type = REG_DWORD;
        append_bytes(value, &*number, 1);
        return true;
    }
    return take(line, "hex(") && parse_bytes(line, value);
}

bool parse_value(std::string_view line, Key& key) {
    const auto name = take_quoted(line);
    Value value;
    if (!name || !take(line, "=") || !parse_data(line, value)) return false;
    winapi::registry::set_value(key, *name, value.type, std::move(value.data));
    return true;
}

// Null when the path between the brackets is none; an empty one is the root.
std::shared_ptr<Key> parse_key(std::string_view path, std::shared_ptr<Key> key) {
    if (path.empty()) return key;
    for (size_t at = 0; at <= path.size();) {
        const size_t end = std::min(path.find('\\', at), path.size());
        const auto name = unescaped(path.substr(at, end - at));
        if (!name || name->empty() || name->size() > winapi::registry::longest_key_name) return nullptr;
        key = winapi::registry::add_subkey(key, *name);
        at = end + 1;
    }
    return key;
}

bool parse_line(std::string_view line, const std::shared_ptr<Key>& root, std::shared_ptr<Key>& key) {
    if (line.empty() || line[0] == '#') return true;
    if (line[0] != '[') return key != nullptr && parse_value(line, *key);
    if (line.size() < 2 || line.back() != ']') return false;
    key = parse_key(line.substr(1, line.size() - 2), root);
    return key != nullptr;
}

}  // namespace

namespace winapi {

bool load_registry(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    const auto root = std::make_shared<Key>();
    std::shared_ptr<Key> key;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!parse_line(line, root, key)) return false;
    }
    if (in.bad()) return false;
    registry::replace_tree(root);
    return true;
}

// An earlier file is replaced only by a whole one.
bool save_registry(const std::string& path) {
    std::ostringstream text;
    {
        const std::lock_guard lock(registry::tree().mutex);
        write_key(text, *registry::tree().root, "");
    }
    const std::string unfinished = path + ".new";
    std::ofstream out(unfinished, std::ios::binary | std::ios::trunc);
    out << text.str();
    out.close();
    return out.good() && std::rename(unfinished.c_str(), path.c_str()) == 0;
}

}  // namespace winapi
