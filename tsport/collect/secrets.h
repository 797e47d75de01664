// What must not leave a server: the key of the application server, and whatever else settings call a secret.
#pragma once

#include <set>
#include <string>

namespace tsport {

class Secrets {
  public:
    // The settings file for others to read: the values of settings that the monitor knows, but for the key; of all
    // other lines the names alone, since a comment may hold a former key and a mistyped name the present one. Remembers
    // what it leaves out.
    std::string without(const std::string& conf);
    // Leaves the remembered values out of any other text, and what stands behind the key's name in the log.
    std::string remove_from(std::string text) const;

  private:
    std::set<std::string> values_;
};

}  // namespace tsport
