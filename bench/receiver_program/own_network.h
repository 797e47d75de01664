// The network of the benchmarks.
#pragma once

namespace bench {

// Gives this process and those it starts a network of their own, in which TCP sends as fast as it can (Reno). On some
// machines it keeps to a pace (BBR): a document of 1 GiB over loopback then takes between 0.18 and 0.76 s. Comes before
// the first thread. Where no network can be made, the machine's is used, and standard error says so. False when there
// is one that cannot be used.
bool enter_own_network();

}  // namespace bench
