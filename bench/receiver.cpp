#include "bench/receiver.h"

#include "bench/pairs.h"

namespace bench {

Receiver::Counts Receiver::ask(char command) const {
    Counts counts{};
    send_all(control_, &command, 1);
    receive_all(control_, &counts, sizeof counts);
    return counts;
}

void Receiver::expect() const {
    ask('0');
}

void Receiver::check(std::uint64_t bytes, std::uint64_t connections) const {
    const Counts counts = ask('?');
    require(counts.connections == connections && counts.bytes == bytes,
            std::to_string(counts.bytes) + " bytes in " + std::to_string(counts.connections) +
                " connections arrived, not " + std::to_string(bytes) + " in " + std::to_string(connections));
}

}  // namespace bench
