#include "host/xcv.h"

namespace host {

Xcv::Xcv(const MonitorHost& monitor, const Text& object, ACCESS_MASK access) : table_(monitor.table()) {
    if (!table_->pfnXcvOpenPort(monitor.monitor(), object.c_str(), access, &handle_)) handle_ = nullptr;
}

Xcv::~Xcv() {
    if (handle_ != nullptr) table_->pfnXcvClosePort(handle_);
}

DWORD Xcv::send(LPCWSTR command, const void* input, DWORD input_size, void* output, DWORD output_size,
                DWORD* needed) const {
    if (handle_ == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    DWORD unused = 0;
    return table_->pfnXcvDataPort(handle_, command, static_cast<BYTE*>(const_cast<void*>(input)), input_size,
                                  static_cast<BYTE*>(output), output_size, needed != nullptr ? needed : &unused);
}

}  // namespace host
