#include "tests/ui/desk.h"

#include <objidl.h>

#include <gdiplus.h>

#include <utility>
#include <vector>

namespace ui {
namespace {

// Of the dialogs and message boxes of a thread the one that takes input.
HWND find_front(DWORD thread) {
    HWND found = nullptr;
    const auto look = [](HWND window, LPARAM result) -> BOOL {
        WCHAR kind[16] = {};
        GetClassNameW(window, kind, 16);
        if (std::wstring(kind) != L"#32770" || !IsWindowVisible(window) || !IsWindowEnabled(window)) return TRUE;
        *reinterpret_cast<HWND*>(result) = window;
        return FALSE;
    };
    EnumThreadWindows(thread, look, reinterpret_cast<LPARAM>(&found));
    return found;
}

void send(std::vector<INPUT> inputs) {
    SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
}

INPUT key_event(WORD code, WORD character, DWORD flags) {
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = code;
    input.ki.wScan = character;
    input.ki.dwFlags = flags;
    return input;
}

}  // namespace

std::string utf8(const std::wstring& text) {
    std::string result(text.size() * 3 + 1, '\0');
    result.resize(
        static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(),
                                                static_cast<int>(result.size()), nullptr, nullptr)));
    return result;
}

std::wstring text_of(HWND dialog, int control) {
    return text_of(GetDlgItem(dialog, control));
}

std::wstring text_of(HWND window) {
    WCHAR text[2048] = {};
    SendMessageW(window, WM_GETTEXT, 2048, reinterpret_cast<LPARAM>(text));
    std::wstring lines;
    for (const WCHAR* at = text; *at != 0; ++at) {
        if (*at != L'\r') lines += *at;
    }
    return lines;
}

bool fits(HWND dialog, int control) {
    const HWND window = GetDlgItem(dialog, control);
    const std::wstring text = text_of(window);
    RECT place = {};
    GetClientRect(window, &place);
    RECT needed = place;
    const HDC context = GetDC(window);
    const auto font = reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0));
    const HGDIOBJ before = SelectObject(context, font);
    DrawTextW(context, text.c_str(), -1, &needed, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EDITCONTROL);
    SelectObject(context, before);
    ReleaseDC(window, context);
    return needed.right <= place.right && needed.bottom <= place.bottom;
}

bool take_picture(HWND window, const std::wstring& file) {
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok) return false;
    RECT place = {};
    GetWindowRect(window, &place);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
    const HDC from = GetWindowDC(window);
    bool stored = false;
    {
        Gdiplus::Bitmap picture(place.right - place.left, place.bottom - place.top);
        Gdiplus::Graphics graphics(&picture);
        const HDC to = graphics.GetHDC();
        BitBlt(to, 0, 0, place.right - place.left, place.bottom - place.top, from, 0, 0, SRCCOPY);
        graphics.ReleaseHDC(to);
        // The system's encoder for PNG.
        constexpr CLSID encoder = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
        stored = picture.Save(file.c_str(), &encoder, nullptr) == Gdiplus::Ok;
    }
    ReleaseDC(window, from);
    Gdiplus::GdiplusShutdown(token);
    return stored;
}

Desk::Desk(Call call)
    : ready_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      done_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      thread_([this, wanted = std::move(call)] { run(wanted); }) {
    WaitForSingleObject(ready_, INFINITE);
}

// What is still open is given up, as somebody would who closes the program.
Desk::~Desk() {
    while (WaitForSingleObject(done_, 20) == WAIT_TIMEOUT) {
        const HWND dialog = find_front(thread_id_);
        if (dialog != nullptr) PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    }
    thread_.join();
    CloseHandle(ready_);
    CloseHandle(done_);
}

void Desk::run(const Call& call) {
    thread_id_ = GetCurrentThreadId();
    program_ = CreateWindowExW(0, L"STATIC", L"Administrator's program", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 40, 900,
                               700, nullptr, nullptr, nullptr, nullptr);
    SetEvent(ready_);
    SetLastError(ERROR_SUCCESS);
    result_ = call(program_);
    error_ = GetLastError();
    DestroyWindow(program_);
    const auto count = [](HWND window, LPARAM number) -> BOOL {
        WCHAR kind[16] = {};
        GetClassNameW(window, kind, 16);
        if (std::wstring(kind) != L"IME") ++*reinterpret_cast<size_t*>(number);
        return TRUE;
    };
    EnumThreadWindows(thread_id_, count, reinterpret_cast<LPARAM>(&windows_left_));
    SetEvent(done_);
}

HWND Desk::front(HWND former) {
    HWND found = nullptr;
    wait_until([&] {
        found = find_front(thread_id_);
        return (found != nullptr && found != former) || WaitForSingleObject(done_, 0) == WAIT_OBJECT_0;
    });
    if (found == nullptr || found == former) return nullptr;
    SetForegroundWindow(found);
    wait_until([&] { return GetForegroundWindow() == found; });
    return found;
}

bool Desk::alive(HWND dialog) {
    DWORD_PTR answer = 0;
    return SendMessageTimeoutW(dialog, WM_NULL, 0, 0, SMTO_NORMAL, 5000, &answer) != 0;
}

void Desk::type(const std::wstring& text) {
    for (const WCHAR letter : text) {
        send({key_event(0, letter, KEYEVENTF_UNICODE), key_event(0, letter, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP)});
    }
}

void Desk::key(WORD code) {
    send({key_event(code, 0, 0), key_event(code, 0, KEYEVENTF_KEYUP)});
}

void Desk::alt(wchar_t letter) {
    const auto code = static_cast<WORD>(letter);
    send({key_event(VK_MENU, 0, 0), key_event(code, 0, 0), key_event(code, 0, KEYEVENTF_KEYUP),
          key_event(VK_MENU, 0, KEYEVENTF_KEYUP)});
}

// The messages, not the mouse: where the pointer is, the display has a say in.
void Desk::click(HWND dialog, int control) {
    const HWND window = GetDlgItem(dialog, control);
    PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    PostMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
}

void Desk::paste(HWND dialog, int control, const std::wstring& text) {
    SendDlgItemMessageW(dialog, control, EM_SETSEL, 0, -1);
    SendDlgItemMessageW(dialog, control, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(text.c_str()));
}

// Text that is there already would not tell when the keys have arrived: it goes first.
bool Desk::fill(HWND dialog, int control, const std::wstring& text) {
    SendMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(dialog, control)), TRUE);
    if (text_of(dialog, control) == text) paste(dialog, control, text.empty() ? L"x" : L"");
    SendDlgItemMessageW(dialog, control, EM_SETSEL, 0, -1);
    text.empty() ? key(VK_DELETE) : type(text);
    return shows(dialog, control, text);
}

}  // namespace ui
