// An administrator at a screen: a program with a window calls one of the dialogs; hands type and press, eyes read.
#pragma once

#include <atomic>
#include <functional>
#include <initializer_list>
#include <source_location>
#include <string>
#include <thread>
#include <utility>

#include "winapi/winapi.h"

namespace ui {

// Where pictures of the dialogs go, for the documents; empty when none are wanted.
extern std::string pictures_folder;

// Besides the dialogs' own controls: a window's title and the text of a message box.
constexpr int kTitle = 0;
constexpr int kMessage = 0xFFFF;

class Desk {
  public:
    // Controls and their texts.
    using Texts = std::initializer_list<std::pair<int, std::wstring>>;

    // A program calls this with its window, on a thread of its own. Returns once a dialog or message box waits for the
    // administrator, or the call has ended without one.
    explicit Desk(std::function<BOOL(HWND)> call);
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    // The dialog or message box in front; null when the call has ended without.
    HWND dialog() const { return dialog_; }
    // Waits until another one is in front, or the call has ended.
    void next();

    // Real key events, to the control that has the focus.
    static void type(const std::wstring& text);
    static void key(WORD code);
    static void alt(wchar_t letter);
    void click(int control) const { PostMessageW(control_of(control), BM_CLICK, 0, 0); }
    // Replaces the texts of fields, as by pasting.
    void fill(Texts texts) const;

    // The controls come to show these texts, and notes show the whole of them. Lines are separated by \n, each
    // entry of a list ends with one; a "*" stands for any text.
    void expect(Texts texts, std::source_location place = std::source_location::current()) const;
    std::wstring text(int control) const;
    bool enabled(int control) const { return IsWindowEnabled(control_of(control)) != FALSE; }
    // Another message box comes to show this, and is closed; what was behind it is in front again.
    void expect_box(const std::wstring& message, std::source_location place = std::source_location::current());
    // The call ends with this error; 0 is success.
    void expect_end(DWORD error, std::source_location place = std::source_location::current());

    // Stores a picture of the dialog when pictures are wanted.
    void take(const std::string& name) const;

  private:
    HWND control_of(int control) const { return control == kTitle ? dialog_ : GetDlgItem(dialog_, control); }
    bool fits(int control) const;

    HWND dialog_ = nullptr;
    std::atomic<HWND> program_ = nullptr;
    std::atomic<bool> ended_ = false;
    DWORD error_ = 0;
    std::thread thread_;
};

}  // namespace ui
