#pragma once
// Choosing benchmark inputs and operations by name on the command line.

#include <algorithm>
#include <string>

namespace Zelkov::Peers {

/// Whether `name` is one of the comma-separated names of `list`. A name
/// ending in "*" matches any rest; one also starting with "*" matches anywhere.
inline bool matches_any(const std::string& name, const std::string& list)
{
    for (std::size_t pos = 0; pos < list.size();) {
        const std::size_t comma = std::min(list.find(',', pos), list.size());
        std::string item = list.substr(pos, comma - pos);
        pos = comma + 1;
        if (item == name) return true;
        if (item.size() < 2 || item.back() != '*') continue;
        item.pop_back();
        if (item.front() == '*' ? name.find(item.substr(1)) != std::string::npos : name.rfind(item, 0) == 0)
            return true;
    }
    return false;
}

}  // namespace Zelkov::Peers
