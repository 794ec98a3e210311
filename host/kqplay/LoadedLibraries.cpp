#include "LoadedLibraries.h"

#include <link.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace kqplay {
namespace {

struct Search {
    const std::string& name;
    fs::path found;
};

int Compare(dl_phdr_info* info, std::size_t, void* userData) {
    auto& search = *static_cast<Search*>(userData);
    const fs::path path = info->dlpi_name;
    const bool same = path.filename().string().rfind(search.name, 0) == 0;
    if (same) {
        search.found = path;
    }
    return same ? 1 : 0;
}

} // namespace

std::string PathOfLoaded(const std::string& name) {
    Search search = {name, {}};
    dl_iterate_phdr(Compare, &search);
    std::error_code failure;
    const fs::path followed = fs::canonical(search.found, failure);
    return failure ? search.found.string() : followed.string();
}

} // namespace kqplay
