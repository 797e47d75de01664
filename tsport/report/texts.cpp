#include "tsport/report/texts.h"

#include <algorithm>
#include <cstdio>

#include "tsport/output.h"

namespace tsport::report {
namespace {

constexpr TextId too_many = 1;

bool is_plain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

// Not in the middle of a character.
std::string_view cut(std::string_view text, size_t size) {
    if (text.size() <= size) return text;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
    return text.substr(0, size);
}

}  // namespace

std::string sanitize(std::string_view raw) {
    if (is_plain(raw)) return std::string(raw);
    host::Text text = host::to_text(std::string(raw));
    for (WCHAR& character : text) {
        if (steers_terminal(character)) character = 0xFFFD;
    }
    return host::to_utf8(text);
}

Texts::Texts() : texts_{"", "(too many names)"} {}

TextId Texts::add(std::string_view raw) {
    if (raw.empty()) return 0;
    raw = cut(raw, longest);
    std::string shown;
    if (!is_plain(raw)) {
        shown = sanitize(raw);
        raw = shown;
    }
    const auto known = known_.find(raw);
    if (known != known_.end()) return known->second;
    if (texts_.size() >= most || bytes_ >= most_bytes) return too_many;
    bytes_ += texts_.emplace_back(raw).size();
    const auto id = static_cast<TextId>(texts_.size() - 1);
    known_.emplace(texts_.back(), id);
    return id;
}

std::string grouped(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3; place -= 3) text.insert(place - 3, 1, ',');
    return text;
}

std::string counted(std::uint64_t number, std::string_view what) {
    return grouped(number) + " " + std::string(what) + (number == 1 ? "" : "s");
}

std::string duration_text(std::uint64_t milliseconds) {
    const std::uint64_t seconds = milliseconds / 1000;
    char text[32];
    if (milliseconds < 1000) return std::to_string(milliseconds) + " ms";
    if (seconds >= 3600) return std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
    if (seconds >= 60) return std::to_string(seconds / 60) + " min " + std::to_string(seconds % 60) + " s";
    std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(milliseconds) / 1e3);
    return text;
}

}  // namespace tsport::report
