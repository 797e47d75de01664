#include "tests/support/platform.h"

#include "winapi/linux/control.h"

namespace test {

size_t open_handles() {
    return winapi::open_handles();
}

}  // namespace test
