// The cases of this build alone.
#pragma once

namespace bench {

struct Bench;

void memory_of_ports(Bench& bench);
void windows_calls(Bench& bench);
void pieces_of_a_document(Bench& bench);

}  // namespace bench
