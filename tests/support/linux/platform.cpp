#include "tests/support/platform.h"

#include "winapi/linux/control.h"

namespace test {

size_t open_handles() {
    return winapi::open_handles();
}

void set_host(const host::Text& name, const std::vector<std::string>& addresses) {
    winapi::set_host(name, addresses);
}

}  // namespace test
