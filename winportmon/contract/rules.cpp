#include "winportmon/contract/rules.h"

#include <algorithm>
#include <iterator>

namespace contract {
namespace {

constexpr size_t kNowhere = TextView::npos;

struct Range {
    WCHAR first;
    WCHAR last;
};
constexpr Range kBlanks[] = {{0x09, 0x0D},     {0x20, 0x20},     {0x85, 0x85},     {0xA0, 0xA0},     {0x1680, 0x1680},
                             {0x2000, 0x200A}, {0x2028, 0x2029}, {0x202F, 0x202F}, {0x205F, 0x205F}, {0x3000, 0x3000}};
constexpr Range kInvisible[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},     {0x34F, 0x34F},
                                {0x61C, 0x61C},   {0x115F, 0x1160}, {0x17B4, 0x17B5}, {0x180B, 0x180F},
                                {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0x3164, 0x3164},
                                {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB}};

template <size_t N>
bool IsIn(const Range (&ranges)[N], WCHAR character) {
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [character](const Range& range) { return range.first <= character && character <= range.last; });
}

bool IsDigit(WCHAR character) {
    return character >= W('0') && character <= W('9');
}

bool IsOneOf(WCHAR character, TextView characters) {
    return characters.find(character) != kNowhere;
}

template <typename Predicate>
bool Any(TextView text, Predicate predicate) {
    return std::any_of(text.begin(), text.end(), predicate);
}

// At most so many of its first characters.
TextView First(TextView text, size_t count) {
    return TextView(text.data(), std::min(count, text.size()));
}

// The other one is in capitals; letters beyond ASCII are in no name that is looked for.
bool IsSame(TextView text, TextView capitals) {
    return std::equal(text.begin(), text.end(), capitals.begin(), capitals.end(), [](WCHAR left, WCHAR right) {
        return (left >= W('a') && left <= W('z') ? left - W('a') + W('A') : left) == right;
    });
}

// With the colon of a local port, or as a device that is opened by its name.
bool IsWindowsPort(TextView name) {
    const bool colon = name.back() == W(':');
    if (colon) name.remove_suffix(1);
    if (colon && (IsSame(name, W("FILE")) || IsSame(name, W("PORTPROMPT")))) return true;
    for (const WCHAR* const device : {W("NUL"), W("CON"), W("PRN"), W("AUX")}) {
        if (IsSame(name, device)) return true;
    }
    if (name.size() < 4 || !(IsSame(First(name, 3), W("LPT")) || IsSame(First(name, 3), W("COM")))) return false;
    name.remove_prefix(3);
    return (colon || name.size() == 1) && std::all_of(name.begin(), name.end(), IsDigit);
}

// "192.168.1.20". Windows reads 010 as 8, and 10.1 as 10.0.0.1.
bool IsIpv4(TextView address) {
    size_t parts = 0;
    for (;; address.remove_prefix(1)) {
        const size_t length = std::min(address.find(W('.')), address.size());
        const TextView part = First(address, length);
        const bool plain = !part.empty() && part.size() <= 3 && (part.size() == 1 || part[0] != W('0'));
        if (!plain || (part != W("0") && (ParsePortNumber(part) == 0 || ParsePortNumber(part) > 255))) return false;
        ++parts;
        address.remove_prefix(length);
        if (address.empty()) return parts == 4;
    }
}

Fault SizeFault(TextView text, size_t size) {
    if (text.empty()) return Fault::empty;
    return text.size() < size ? Fault::none : Fault::too_long;
}

}  // namespace

bool IsBlank(WCHAR character) {
    return IsIn(kBlanks, character);
}

bool IsInvisible(WCHAR character) {
    return IsIn(kInvisible, character);
}

Fault NameFault(TextView name) {
    const Fault fault = SizeFault(name, kPortNameSize);
    if (fault != Fault::none) return fault;
    if (name.find(W('\\')) != kNowhere) return Fault::backslash;
    if (IsBlank(name.front()) || IsBlank(name.back())) return Fault::blank;
    if (Any(name, [](WCHAR c) { return IsInvisible(c) || (IsBlank(c) && c != W(' ')); })) return Fault::invisible;
    if (name.find(W(',')) != kNowhere) return Fault::comma;
    if (IsWindowsPort(name)) return Fault::windows_port;
    if (name.size() > 2 && IsSame(First(name, 2), W("TS")) && IsDigit(name[2])) return Fault::session_port;
    return Fault::none;
}

Fault AddressFault(TextView address) {
    const Fault fault = SizeFault(address, kPrinterAddressSize);
    if (fault != Fault::none) return fault;
    if (Any(address, IsBlank)) return Fault::blank;
    if (Any(address, IsInvisible)) return Fault::invisible;
    if (address.find(W("://")) != kNowhere) return Fault::scheme;
    if (Any(address, [](WCHAR c) { return IsOneOf(c, W("/\\")); })) return Fault::slash;
    if (Any(address, [](WCHAR c) { return IsOneOf(c, W("[](){}<>")); })) return Fault::brackets;
    if (std::count(address.begin(), address.end(), W(':')) == 1) return Fault::with_port_number;
    const bool numeric = !Any(address, [](WCHAR c) { return !IsDigit(c) && c != W('.'); });
    return numeric && !IsIpv4(address) ? Fault::numeric : Fault::none;
}

uint32_t ParsePortNumber(TextView digits) {
    uint32_t number = 0;
    for (const WCHAR digit : digits) {
        if (!IsDigit(digit)) return 0;
        number = number * 10 + static_cast<uint32_t>(digit - W('0'));
        if (number > kLargestPortNumber) return 0;
    }
    return number;
}

AddressParts PartsOf(TextView address) {
    const size_t scheme = address.find(W("://"));
    if (scheme != kNowhere) address.remove_prefix(scheme + 3);
    while (!address.empty() && IsOneOf(address.front(), W("/\\[({<"))) address.remove_prefix(1);
    address = First(address, address.find_first_of(W("/\\")));
    const size_t bracket = address.find_first_of(W("])}>"));
    const size_t colon = address.find(W(':'), bracket != kNowhere ? bracket : 0);
    const bool has_number = colon != kNowhere && address.find(W(':'), colon + 1) == kNowhere;
    AddressParts parts = {First(address, bracket), TextView()};
    if (!has_number) return parts;
    parts.address = First(parts.address, colon);
    address.remove_prefix(colon + 1);
    parts.port_number = address;
    return parts;
}

}  // namespace contract
