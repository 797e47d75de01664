// The cases of this build alone.
#pragma once

namespace bench {

struct Bench;

void cups(Bench& bench);
void memory(Bench& bench);
void allocations(Bench& bench);
void system_calls(Bench& bench);
void import(Bench& bench);
void reports(Bench& bench);

}  // namespace bench
