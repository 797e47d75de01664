#include "winportmon/tsmon/port_index.h"

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {
namespace {

constexpr uint32_t kFirstPlaces = 64;
constexpr uint32_t kNoHash = 0;

constexpr uint32_t LetterBits(const char* letters) {
    uint32_t bits = 0;
    for (; *letters != 0; ++letters) bits |= 1u << (*letters - 'a');
    return bits;
}

// Letters that some languages treat as one, with two spellings when doubled ("ddzs" is "dzsdzs" in
// Hungarian). They do not count in the hash, nor do the hyphen and the apostrophe, which comparisons treat apart.
constexpr uint32_t kJoinedLetters = LetterBits("cdglnstyz");

bool Counts(WCHAR c) {
    if (c >= W('a') && c <= W('z')) return (kJoinedLetters >> (c - W('a')) & 1) == 0;
    return c != W('-') && c != W('\'');
}

// The same for plain names that are the same; kNoHash for any other name.
uint32_t HashOf(const WCHAR* name) {
    uint32_t hash = 2166136261;
    for (; *name != 0; ++name) {
        WCHAR c = *name;
        if (c < W(' ') || c > W('~')) return kNoHash;
        if (c >= W('A') && c <= W('Z')) c = static_cast<WCHAR>(c + (W('a') - W('A')));
        if (Counts(c)) hash = (hash ^ c) * 16777619;
    }
    return hash != kNoHash ? hash : 1;
}

bool HasName(const PortEntry* port, const WCHAR* name) {
    return lstrcmpiW(FieldText(port->config.port_name).text, name) == 0;
}

PortEntry** PlaceOf(const PortIndex* index, uint32_t hash) {
    return &index->places[hash & (index->place_count - 1)];
}

// By its order, into the chain or its rest that begins at the link.
void Insert(PortEntry** link, PortEntry* port) {
    while (*link != nullptr && (*link)->in_index.order < port->in_index.order) link = &(*link)->in_index.next;
    port->in_index.next = *link;
    *link = port;
}

// The port before it in its chain, or null.
PortEntry* Remove(PortEntry** first, PortEntry* port) {
    PortEntry* previous = nullptr;
    for (PortEntry* other = *first; other != port; other = other->in_index.next) previous = other;
    (previous != nullptr ? previous->in_index.next : *first) = port->in_index.next;
    return previous;
}

// As many places as ports, at least; without memory there are fewer, or none.
void MakeRoom(PortIndex* index) {
    if (index->port_count < index->place_count) return;
    const PortIndex before = *index;
    const uint32_t count = before.places != nullptr ? before.place_count * 2 : kFirstPlaces;
    auto* const places = static_cast<PortEntry**>(GlobalAlloc(GPTR, count * sizeof(void*)));
    if (places == nullptr) return;
    index->places = places;
    index->place_count = count;
    if (before.places == nullptr) return;
    for (uint32_t i = 0; i < before.place_count; ++i) {
        for (PortEntry* port = before.places[i]; port != nullptr;) {
            PortEntry* const next = port->in_index.next;
            Insert(PlaceOf(index, port->in_index.hash), port);
            port = next;
        }
    }
    GlobalFree(before.places);
}

void AddToPlaces(PortIndex* index, PortEntry* port) {
    ++index->port_count;
    Insert(PlaceOf(index, port->in_index.hash), port);
}

// Nearly always behind the last one.
void AddToOthers(PortIndex* index, PortEntry* port) {
    PortEntry* const last = index->last_other;
    const bool is_behind = last != nullptr && last->in_index.order < port->in_index.order;
    Insert(is_behind ? &last->in_index.next : &index->others, port);
    if (port->in_index.next == nullptr) index->last_other = port;
}

}  // namespace

void AddToIndex(PortIndex* index, PortEntry* port) {
    port->in_index.order = index->next_order++;
    ReturnToIndex(index, port);
}

void ReturnToIndex(PortIndex* index, PortEntry* port) {
    port->in_index.hash = HashOf(FieldText(port->config.port_name).text);
    if (port->in_index.hash != kNoHash) MakeRoom(index);
    if (index->places == nullptr) port->in_index.hash = kNoHash;
    if (port->in_index.hash != kNoHash) {
        AddToPlaces(index, port);
    } else {
        AddToOthers(index, port);
    }
}

void RemoveFromIndex(PortIndex* index, PortEntry* port) {
    if (port->in_index.hash != kNoHash) {
        --index->port_count;
        Remove(PlaceOf(index, port->in_index.hash), port);
        return;
    }
    PortEntry* const previous = Remove(&index->others, port);
    if (index->last_other == port) index->last_other = previous;
}

PortEntry* FindInIndex(const MonitorContext* context, const WCHAR* name) {
    const uint32_t hash = HashOf(name);
    if (hash == kNoHash) {
        PortEntry* port = context->ports;
        while (port != nullptr && !HasName(port, name)) port = port->next;
        return port;
    }
    const PortIndex& index = context->index;
    PortEntry* found = index.places != nullptr ? *PlaceOf(&index, hash) : nullptr;
    while (found != nullptr && (found->in_index.hash != hash || !HasName(found, name))) found = found->in_index.next;
    // One of the others may be the same and stand before it.
    for (PortEntry* other = index.others; other != nullptr; other = other->in_index.next) {
        if (found != nullptr && found->in_index.order < other->in_index.order) break;
        if (HasName(other, name)) return other;
    }
    return found;
}

void FreeIndex(PortIndex* index) {
    if (index->places != nullptr) GlobalFree(index->places);
    *index = PortIndex{};
}

}  // namespace tsmon
