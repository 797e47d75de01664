#include "winportmon/tsmonui/channel.h"

#include <initializer_list>

#include "winportmon/tsmonui/resource.h"

namespace tsmonui {
namespace {

bool SameName(const WCHAR* one, const WCHAR* other) {
    return CompareStringOrdinal(one, -1, other, -1, TRUE) == CSTR_EQUAL;
}

bool IsThisComputer(const WCHAR* name) {
    for (const COMPUTER_NAME_FORMAT format :
         {ComputerNameNetBIOS, ComputerNameDnsHostname, ComputerNameDnsFullyQualified}) {
        WCHAR own[256] = {};
        DWORD size = 256;
        if (GetComputerNameExW(format, own, &size) && SameName(own, name)) return true;
    }
    return SameName(name, W("localhost"));
}

}  // namespace

Server::Server(const WCHAR* name) {
    if (name == nullptr) return;
    while (*name == W('\\')) ++name;
    if (*name == 0) return;
    name_.Add(W("\\\\")).Add(name);
    this_computer_ = IsThisComputer(name);
}

Text Server::InWords() const {
    return this_computer_ ? TableText(IDS_THIS_COMPUTER) : name_;
}

DWORD Channel::Open(const Server& server, const WCHAR* kind, const WCHAR* name, DWORD access) {
    Close();
    Text object = server.name();
    if (!object.empty()) object.Add(W('\\'));
    object.Add(kind).Add(name);
    if (object.cut()) return ERROR_INVALID_NAME;
    WCHAR writable[Text::kSize] = {};
    lstrcpynW(writable, object.c_str(), Text::kSize);
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
    if (OpenPrinterW(writable, &handle_, &defaults)) return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    handle_ = nullptr;
    return error != ERROR_SUCCESS ? error : ERROR_GEN_FAILURE;
}

DWORD Channel::OpenMonitor(const Server& server, const WCHAR* monitor, DWORD access) {
    return Open(server, W(",XcvMonitor "), monitor, access);
}

DWORD Channel::OpenPort(const Server& server, const WCHAR* port, DWORD access) {
    return Open(server, W(",XcvPort "), port, access);
}

void Channel::Close() {
    if (handle_ != nullptr) ClosePrinter(handle_);
    handle_ = nullptr;
}

DWORD Channel::Send(const WCHAR* command, const void* input, size_t input_size, void* output,
                    size_t output_size) const {
    DWORD needed = 0;
    DWORD status = ERROR_SUCCESS;
    if (XcvDataW(handle_, command, static_cast<BYTE*>(const_cast<void*>(input)), static_cast<DWORD>(input_size),
                 static_cast<BYTE*>(output), static_cast<DWORD>(output_size), &needed, &status)) {
        return status;
    }
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_GEN_FAILURE;
}

}  // namespace tsmonui
