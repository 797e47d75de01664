// A hosted monitor's ports in the registry, below a key of their own that goes with the object.
#pragma once

#include "tsport/ports/port.h"

namespace tsport {

class Store {
  public:
    Store();
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    HKEY hive() const;
    // The monitor's key below the hive.
    const Text& path() const { return path_; }

    bool write(const std::vector<Port>& ports) const;
    // In the registry's order.
    bool read(std::vector<Port>& ports) const;

  private:
    Text path_;
};

}  // namespace tsport
