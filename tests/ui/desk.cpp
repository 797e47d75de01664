#include "tests/ui/desk.h"

#include <gtest/gtest.h>

#include <objidl.h>

#include <gdiplus.h>

#include <string_view>

#include "host/text.h"
#include "testbed/print_server.h"

namespace ui {
namespace {

using testbed::wait_until;

// A "*" in the pattern stands for any text.
bool matches(std::wstring_view text, std::wstring_view pattern) {
    if (pattern.empty()) return text.empty();
    if (pattern[0] == L'*' && matches(text, pattern.substr(1))) return true;
    if (text.empty() || (pattern[0] != L'*' && pattern[0] != text[0])) return false;
    return matches(text.substr(1), pattern[0] == L'*' ? pattern : pattern.substr(1));
}

void press(WORD code, WORD character, DWORD flags) {
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = code;
    input.ki.wScan = character;
    input.ki.dwFlags = flags;
    SendInput(1, &input, sizeof input);
}

}  // namespace

std::string pictures_folder;

Desk::Desk(std::function<BOOL(HWND)> call)
    : thread_([this, wanted = std::move(call)] {
          const HWND window =
              CreateWindowExW(0, L"STATIC", L"Administrator's program", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 40, 900,
                              700, nullptr, nullptr, nullptr, nullptr);
          program_ = window;
          SetLastError(ERROR_SUCCESS);
          const BOOL done = wanted(window);
          error_ = done ? DWORD{ERROR_SUCCESS} : GetLastError();
          DestroyWindow(window);
          ended_ = true;
      }) {
    next();
}

// What is still open is given up, as somebody would who closes the program.
Desk::~Desk() {
    while (!ended_) {
        PostMessageW(GetLastActivePopup(program_), WM_COMMAND, IDCANCEL, 0);
        Sleep(20);
    }
    thread_.join();
}

void Desk::next() {
    HWND front = nullptr;
    wait_until([&] {
        front = GetLastActivePopup(program_);
        const bool takes_input = front != program_ && IsWindowVisible(front) && IsWindowEnabled(front);
        if (!takes_input || front == dialog_) front = nullptr;
        return front != nullptr || ended_;
    });
    dialog_ = front;
    if (front == nullptr) return;
    SetForegroundWindow(front);
    wait_until([&] { return GetForegroundWindow() == front; });
}

void Desk::type(const std::wstring& text) {
    for (const WCHAR letter : text) {
        press(0, letter, KEYEVENTF_UNICODE);
        press(0, letter, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP);
    }
}

void Desk::key(WORD code) {
    press(code, 0, 0);
    press(code, 0, KEYEVENTF_KEYUP);
}

void Desk::alt(wchar_t letter) {
    press(VK_MENU, 0, 0);
    key(static_cast<WORD>(letter));
    press(VK_MENU, 0, KEYEVENTF_KEYUP);
}

void Desk::fill(Texts texts) const {
    for (const auto& [control, text] : texts) {
        SendMessageW(control_of(control), EM_SETSEL, 0, -1);
        SendMessageW(control_of(control), EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(text.c_str()));
    }
}

void Desk::expect(Texts texts, std::source_location place) const {
    const testing::ScopedTrace trace(place.file_name(), static_cast<int>(place.line()), "expected here");
    for (const auto& [control, pattern] : texts) {
        EXPECT_TRUE(wait_until([&, at = control, &wanted = pattern] { return matches(text(at), wanted); }))
            << "control " << control << " shows:  " << host::to_utf8(text(control))
            << "\nand should show: " << host::to_utf8(pattern);
        EXPECT_TRUE(fits(control)) << "cannot be seen whole: " << host::to_utf8(text(control));
    }
}

std::wstring Desk::text(int control) const {
    WCHAR text[2048] = {};
    SendMessageW(control_of(control), WM_GETTEXT, 2048, reinterpret_cast<LPARAM>(text));
    std::wstring lines = text;
    std::erase(lines, L'\r');
    const LRESULT entries = SendMessageW(control_of(control), LB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < entries; ++i) {
        SendMessageW(control_of(control), LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
        lines += text + std::wstring(L"\n");
    }
    return lines;
}

// Whether all of a note's text can be seen.
bool Desk::fits(int control) const {
    const HWND window = control_of(control);
    WCHAR kind[16] = {};
    GetClassNameW(window, kind, 16);
    if (control == kMessage || lstrcmpiW(kind, L"Static") != 0) return true;
    RECT place = {};
    GetClientRect(window, &place);
    RECT needed = place;
    const HDC context = GetDC(window);
    const HGDIOBJ before = SelectObject(context, reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0)));
    DrawTextW(context, text(control).c_str(), -1, &needed, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EDITCONTROL);
    SelectObject(context, before);
    ReleaseDC(window, context);
    return needed.right <= place.right && needed.bottom <= place.bottom;
}

void Desk::expect_box(const std::wstring& message, std::source_location place) {
    next();
    expect({{kMessage, message}}, place);
    key(VK_RETURN);
    next();
}

void Desk::expect_end(DWORD error, std::source_location place) {
    const testing::ScopedTrace trace(place.file_name(), static_cast<int>(place.line()), "expected here");
    ASSERT_TRUE(wait_until([&] { return ended_.load(); })) << "still shows: " << host::to_utf8(text(kTitle));
    EXPECT_EQ(error_, error);
}

void Desk::take(const std::string& name) const {
    if (pictures_folder.empty()) return;
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    ASSERT_EQ(Gdiplus::GdiplusStartup(&token, &input, nullptr), Gdiplus::Ok);
    RECT place = {};
    GetWindowRect(dialog_, &place);
    RedrawWindow(dialog_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
    const HDC from = GetWindowDC(dialog_);
    {
        Gdiplus::Bitmap picture(place.right - place.left, place.bottom - place.top);
        Gdiplus::Graphics graphics(&picture);
        const HDC to = graphics.GetHDC();
        BitBlt(to, 0, 0, place.right - place.left, place.bottom - place.top, from, 0, 0, SRCCOPY);
        graphics.ReleaseHDC(to);
        const std::string file =
            pictures_folder + "/" + name + "-" + std::to_string(GetDeviceCaps(from, LOGPIXELSX)) + ".png";
        // The system's encoder for PNG.
        constexpr CLSID encoder = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
        EXPECT_EQ(picture.Save(host::to_text(file).c_str(), &encoder, nullptr), Gdiplus::Ok) << file;
    }
    ReleaseDC(dialog_, from);
    Gdiplus::GdiplusShutdown(token);
}

}  // namespace ui
