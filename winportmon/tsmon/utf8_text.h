// The UTF-8 form of a wide text, valid for the lifetime of the object.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "common/util.h"
#include "winapi/winapi.h"

namespace tsmon {

class Utf8Text {
  public:
    explicit Utf8Text(const WCHAR* text) {
        if (text == nullptr) return;
        const size_t size = 4 * util_wcsnlen(text, SIZE_MAX) + 4;
        if (size > sizeof usual_) longer_ = static_cast<char*>(malloc(size));
        char* const buffer = size > sizeof usual_ ? longer_ : usual_;
        if (buffer == nullptr) return;
        const int given = static_cast<int>(size);
        if (WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, given, nullptr, nullptr) > 0) text_ = buffer;
    }
    ~Utf8Text() { free(longer_); }
    Utf8Text(const Utf8Text&) = delete;
    Utf8Text& operator=(const Utf8Text&) = delete;

    // Null when the wide text is null or cannot be converted.
    const char* get() const { return text_; }

  private:
    char usual_[1024];  // of any printer's name
    char* longer_ = nullptr;
    const char* text_ = nullptr;
};

}  // namespace tsmon
