// An administrator at a screen: a program with a window calls one of the dialogs; hands type and press, eyes read.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "testbed/print_server.h"

namespace ui {

using testbed::wait_until;

// "MESSAGE" as C++ text for failures.
std::string utf8(const std::wstring& text);

// What a window shows, its lines separated by \n.
std::wstring text_of(HWND window);
std::wstring text_of(HWND dialog, int control);

// Whether all of a control's text can be seen.
bool fits(HWND dialog, int control);

// Stores a picture of a window; false when that fails.
bool take_picture(HWND window, const std::wstring& file);

class Desk {
  public:
    // The program calls this with its window, on a thread of its own.
    using Call = std::function<BOOL(HWND)>;
    explicit Desk(Call call);
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    // The dialog or message box that waits for the administrator, once there is one that is not the former one; null
    // when the call has ended without.
    HWND front(HWND former = nullptr);
    // Whether the dialog's thread answers.
    bool alive(HWND dialog);

    // Real key events, to the control that has the focus.
    void type(const std::wstring& text);
    void key(WORD code);
    void alt(wchar_t letter);
    // A click of the mouse at a control.
    void click(HWND dialog, int control);
    // What a pasted text does to a control.
    void paste(HWND dialog, int control, const std::wstring& text);
    // Replaces all of a control's text by typing; false when it does not come to show this.
    bool fill(HWND dialog, int control, const std::wstring& text);

    // Whether a control comes to show this.
    static bool shows(HWND dialog, int control, const std::wstring& text) {
        return wait_until([&] { return text_of(dialog, control) == text; });
    }
    static bool begins(HWND dialog, int control, const std::wstring& beginning) {
        return wait_until([&] { return text_of(dialog, control).starts_with(beginning); });
    }
    static bool enabled(HWND dialog, int control) { return IsWindowEnabled(GetDlgItem(dialog, control)) != FALSE; }
    // The text of a message box.
    static std::wstring message(HWND box) { return text_of(box, 0xFFFF); }

    // The call's answer, once it has returned; all windows it leaves on its thread are counted.
    bool ended() { return WaitForSingleObject(done_, 60000) == WAIT_OBJECT_0; }
    BOOL result() const { return result_; }
    DWORD error() const { return error_; }
    size_t windows_left() const { return windows_left_; }

  private:
    void run(const Call& call);

    HWND program_ = nullptr;
    DWORD thread_id_ = 0;
    HANDLE ready_;
    HANDLE done_;
    BOOL result_ = FALSE;
    DWORD error_ = 0;
    size_t windows_left_ = 0;
    std::thread thread_;
};

}  // namespace ui
