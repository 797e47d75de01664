// The client that a thread acts for.
#include <optional>

#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/state.h"

namespace spooler_sim {
namespace {

thread_local std::optional<Text> client;  // none: the thread runs as the spooler itself

}  // namespace

ClientScope::ClientScope(const Text& user) {
    client = user;
}

ClientScope::~ClientScope() {
    client.reset();
}

Text current_client() {
    return client.value_or(Text());
}

DWORD revert_to_self(HANDLE* token) {
    *token = nullptr;
    if (!client) return ERROR_NO_TOKEN;
    const std::lock_guard lock(state().mutex);
    *token = new_handle();
    state().tokens[*token] = *client;
    client.reset();
    return 0;
}

DWORD impersonate_client(HANDLE token, bool take_on) {
    const std::lock_guard lock(state().mutex);
    const auto found = state().tokens.find(token);
    if (found == state().tokens.end()) return ERROR_INVALID_HANDLE;
    if (take_on) client = found->second;
    state().tokens.erase(found);
    return 0;
}

}  // namespace spooler_sim
