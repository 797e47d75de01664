// The UTF-8 form of a wide text, valid for the lifetime of the object.
#pragma once

#include <cstdlib>

#include "common/enc.h"

namespace tsmon {

class Utf8Text {
  public:
    explicit Utf8Text(const WCHAR* text) {
        if (text != nullptr) enc_wide_to_utf8_alloc(&text_, text);
    }
    ~Utf8Text() { free(text_); }
    Utf8Text(const Utf8Text&) = delete;
    Utf8Text& operator=(const Utf8Text&) = delete;

    // Null when the wide text is null or cannot be converted.
    const char* get() const { return text_; }

  private:
    char* text_ = nullptr;
};

}  // namespace tsmon
