// Runs a fuzz target over files and the files of folders, once each: what was found before stays found.
#include "psi.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path &path)
{
    if (!fs::is_directory(path))
        return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.is_open()) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        return false;
    }
    // A block of exactly its size, so that a sanitizer sees a read behind it.
    const std::vector<u8> bytes(text.begin(), text.end());
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path &path : filesOf(argv[i])) {
            if (!replay(path))
                return 1;
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count != 0 ? 0 : 1;
}
