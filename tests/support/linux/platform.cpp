#include "tests/support/platform.h"

#include <stdlib.h>
#include <time.h>

#include "winapi/linux/control.h"

namespace test {

size_t open_handles() {
    return winapi::open_handles();
}

void set_variable(const char* name, const char* value) {
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
    tzset();
}

}  // namespace test
