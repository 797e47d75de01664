#include "bench/print_server.h"

#include <algorithm>
#include <filesystem>

#include "bench/pairs.h"
#include "bench/plain.h"

namespace bench {

host::Text PrintServer::name_of(unsigned port) {
    return host::to_text("Printer " + std::to_string(port));
}

PrintServer::PrintServer(std::uint16_t receiver_port, unsigned ports) {
    for (unsigned i = 0; i < ports; ++i) {
        names_.push_back(name_of(i));
        require(host::store_port(name_of(i), host::to_text(printer_address(i)), receiver_port),
                "no port can be stored");
        // More printers than are printed on would only make the spooler's simulation slow.
        if (i >= kPrinters) continue;
        spooler_sim::add_printer(name_of(i));
        spooler_sim::add_job(name_of(i), kFirstJob + i, W("document"), W("client"));
    }
}

void PrintServer::start(const std::vector<std::string>& settings) {
    monitor.unload();
    std::error_code ignored;
    std::string why;
    std::filesystem::remove(folder.base + "/print-provider.conf", ignored);
    require(set_up(settings, why) && try_load(why), why);
}

HANDLE PrintServer::begin(unsigned port) const {
    HANDLE handle = nullptr;
    require(monitor.open_port(names_[port], handle), "OpenPort failed");
    const unsigned printer = port % kPrinters;
    require(monitor.start_document(handle, names_[printer], kFirstJob + printer, document_), "StartDocPort failed");
    return handle;
}

void PrintServer::write(HANDLE handle, const char* data, size_t size) const {
    while (size > 0) {
        DWORD written = 0;
        require(monitor.write(handle, data, static_cast<DWORD>(size), written), "WritePort failed");
        data += written;
        size -= written;
    }
}

void PrintServer::end(HANDLE handle) const {
    require(monitor.end_document(handle), "EndDocPort failed");
    require(monitor.close_port(handle), "ClosePort failed");
}

void PrintServer::print(unsigned port, const std::vector<char>& data, std::uint64_t size, size_t write_size) const {
    const HANDLE handle = begin(port);
    for (std::uint64_t done = 0; done < size; done += write_size) {
        write(handle, data.data(), static_cast<size_t>(std::min<std::uint64_t>(write_size, size - done)));
    }
    end(handle);
}

}  // namespace bench
