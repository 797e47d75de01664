// Texts of the port dialogs: buffers of a fixed size, the string table and the system's words for an error.
#pragma once

#include <cstddef>

#include "winapi/winapi.h"
#include "winportmon/contract/rules.h"

namespace tsmonui {

// The library's instance handle, for its resources.
extern HINSTANCE module_instance;

// A terminated text in a fixed buffer: what does not fit is cut off, and that is remembered.
class Text {
  public:
    static constexpr size_t kSize = 1024;

    Text() = default;
    explicit Text(const WCHAR* text) { Add(text); }
    explicit Text(contract::TextView text) { Add(text.data(), text.size()); }

    const WCHAR* c_str() const { return text_; }
    size_t length() const { return length_; }
    bool empty() const { return length_ == 0; }
    bool cut() const { return cut_; }
    operator contract::TextView() const { return {text_, length_}; }

    void Clear();
    void Add(WCHAR character);
    // A null text adds nothing.
    Text& Add(const WCHAR* text);
    // At most that many characters of it.
    Text& Add(const WCHAR* text, size_t count);

  private:
    WCHAR text_[kSize] = {};
    size_t length_ = 0;
    bool cut_ = false;
};

// What a dialog's control shows, without blanks at its ends.
Text ControlText(HWND dialog, int control);
Text NumberText(DWORD number);
// A text of the string table with its %1, %2 and %3 replaced.
Text TableText(UINT id, const Text& first = Text(), const Text& second = Text(), const Text& third = Text());
// The system's words for an error, without a line break; its number when there are none.
Text ErrorText(DWORD error);

}  // namespace tsmonui
