#include "input/textFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace psitool {

std::string readText(const std::string &path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> opened(
        path == "-" ? nullptr : std::fopen(path.c_str(), "rb"), [](std::FILE *file) { return std::fclose(file); });
    std::FILE *file = path == "-" ? stdin : opened.get();
    std::string text;
    char part[65536];
    std::size_t count = 0;
    while (file && (count = std::fread(part, 1, sizeof part, file)) > 0)
        text.append(part, count);
    if (!file || std::ferror(file))
        throw TextFileError((path == "-" ? "standard input" : path) +
                            ": cannot be read: " + std::generic_category().message(errno));
    return text;
}

} // namespace psitool
