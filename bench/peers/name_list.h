#pragma once
// Choosing benchmark inputs and operations by name on the command line, and
// the shared mesh files they may name.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

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

/// The mesh files of the folder `dir` (all but its README), in name order;
/// none when `dir` is empty.
inline std::vector<std::filesystem::path> mesh_files(const std::string& dir)
{
    std::vector<std::filesystem::path> files;
    if (!dir.empty())
        for (const auto& entry : std::filesystem::directory_iterator(dir))
            if (entry.path().extension() != ".md") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace Zelkov::Peers
