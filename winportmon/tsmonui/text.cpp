#include "winportmon/tsmonui/text.h"

namespace tsmonui {
HINSTANCE module_instance = nullptr;

void Text::Clear() {
    text_[0] = 0;
    length_ = 0;
    cut_ = false;
}

void Text::Add(WCHAR character) {
    if (length_ + 1 >= kSize) {
        cut_ = true;
        return;
    }
    text_[length_++] = character;
    text_[length_] = 0;
}

Text& Text::Add(const WCHAR* text) {
    return Add(text, kSize);
}

Text& Text::Add(const WCHAR* text, size_t count) {
    if (text == nullptr) return *this;
    for (size_t i = 0; i < count && text[i] != 0; ++i) Add(text[i]);
    return *this;
}

Text ControlText(HWND dialog, int control) {
    WCHAR shown[Text::kSize] = {};
    size_t end = GetDlgItemTextW(dialog, control, shown, Text::kSize);
    size_t start = 0;
    while (start < end && contract::IsBlank(shown[start])) ++start;
    while (end > start && contract::IsBlank(shown[end - 1])) --end;
    return Text().Add(shown + start, end - start);
}

Text NumberText(DWORD number) {
    WCHAR digits[11] = {};
    size_t start = 10;
    do {
        digits[--start] = static_cast<WCHAR>(W('0') + number % 10);
        number /= 10;
    } while (number != 0);
    return Text(digits + start);
}

Text TableText(UINT id, const Text& first, const Text& second, const Text& third) {
    WCHAR format[Text::kSize] = {};
    LoadStringW(module_instance, id, format, Text::kSize);
    WCHAR* whole = nullptr;  // may be longer than a Text
    DWORD_PTR parts[] = {reinterpret_cast<DWORD_PTR>(first.c_str()), reinterpret_cast<DWORD_PTR>(second.c_str()),
                         reinterpret_cast<DWORD_PTR>(third.c_str())};
    FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY | FORMAT_MESSAGE_ALLOCATE_BUFFER, format,
                   0, 0, reinterpret_cast<WCHAR*>(&whole), 0, reinterpret_cast<va_list*>(parts));
    const Text text(whole != nullptr ? whole : format);
    LocalFree(whole);
    return text;
}

Text ErrorText(DWORD error) {
    WCHAR words[Text::kSize] = {};
    DWORD end = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, words,
                               Text::kSize, nullptr);
    while (end > 0 && contract::IsBlank(words[end - 1])) --end;
    if (end == 0) return NumberText(error);
    return Text().Add(words, end);
}

}  // namespace tsmonui
