#include "bench/print_server.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "bench/others.h"
#include "bench/pairs.h"
#include "tools/host/platform.h"
#include "winapi/linux/control.h"

namespace bench {

host::Text PrintServer::name_of(unsigned port) {
    return host::to_text("Printer " + std::to_string(port));
}

PrintServer::PrintServer(std::uint16_t receiver_port, unsigned ports) : install_(host::make_temporary_folder()) {
    spooler_sim::reset();
    winapi::clear_registry();
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

PrintServer::~PrintServer() {
    monitor_.unload();
    std::error_code ignored;
    std::filesystem::remove_all(install_, ignored);
}

void PrintServer::start(const std::vector<std::string>& settings) {
    monitor_.unload();
    std::error_code ignored;
    std::string why;
    if (!folder_.base.empty()) std::filesystem::remove(folder_.base + "/print-provider.conf", ignored);
    require(host::set_up_base(install_, settings, folder_, why), why);
    host::MonitorHost::Options options;
    options.library = host::executable_folder() + "/" + host::monitor_file_name();
    options.folder = folder_;
    require(monitor_.load(options, why), why);
}

HANDLE PrintServer::begin(unsigned port) const {
    HANDLE handle = nullptr;
    require(monitor_.open_port(names_[port], handle), "OpenPort failed");
    require(monitor_.start_document(handle, names_[port], kFirstJob + port, document_), "StartDocPort failed");
    return handle;
}

void PrintServer::write(HANDLE handle, const char* data, size_t size) const {
    while (size > 0) {
        DWORD written = 0;
        require(monitor_.write(handle, data, static_cast<DWORD>(size), written), "WritePort failed");
        data += written;
        size -= written;
    }
}

void PrintServer::end(HANDLE handle) const {
    require(monitor_.end_document(handle), "EndDocPort failed");
    require(monitor_.close_port(handle), "ClosePort failed");
}

void PrintServer::print(unsigned port, const std::vector<char>& data, std::uint64_t size, size_t write_size) const {
    const HANDLE handle = begin(port);
    for (std::uint64_t done = 0; done < size; done += write_size) {
        write(handle, data.data(), static_cast<size_t>(std::min<std::uint64_t>(write_size, size - done)));
    }
    end(handle);
}

void PrintServer::print_file(const std::string& path, std::vector<char>& buffer) const {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    require(file >= 0, path + " cannot be read");
    const HANDLE handle = begin(0);
    for (ssize_t count = 0; (count = read(file, buffer.data(), buffer.size())) > 0;) {
        write(handle, buffer.data(), static_cast<size_t>(count));
    }
    end(handle);
    close(file);
}

}  // namespace bench
