// Finds ports by their names without comparing all of them. Names are the same when lstrcmpiW says so. For plain
// names (printable ASCII) it ignores, in any language, no more than letter case and a few spellings, so they are found
// by a hash of the rest; any other name can equal almost any name and is compared.
#pragma once

#include <cstdint>

#include "winapi/winapi.h"

namespace tsmon {

struct MonitorContext;
struct PortEntry;

// Part of an instance; zero-filled when new. Guarded by MonitorLock.
struct PortIndex {
    PortEntry** places;    // chains of ports by the hash of the name; global heap; null while there are none
    uint32_t place_count;  // a power of two
    uint32_t port_count;   // in places
    PortEntry* others;     // names that are not plain, and what found no memory for places; a chain, too
    PortEntry* last_other;
    uint64_t next_order;
};

// What the index keeps in a port.
struct PortIndexEntry {
    uint32_t hash;    // of its name; 0: among the others
    PortEntry* next;  // of its chain, which is in the order of the list
    uint64_t order;   // rises along the port list
};

// The caller holds MonitorLock for all of these.
// A port at the end of the port list.
void AddToIndex(PortIndex* index, PortEntry* port);
// To be called before the port leaves the list or its name changes.
void RemoveFromIndex(PortIndex* index, PortEntry* port);
// A port that keeps its place in the list under another name.
void ReturnToIndex(PortIndex* index, PortEntry* port);
// The first port of the list with that name, or null.
PortEntry* FindInIndex(const MonitorContext* context, const WCHAR* name);
// When the instance ends. The ports stay.
void FreeIndex(PortIndex* index);

}  // namespace tsmon
