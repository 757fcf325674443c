/**
 * @file byteSource.h
 * @brief Bytes of a file, a pipe or standard input.
 */
#ifndef PSI_DEMUX_BYTE_SOURCE_H
#define PSI_DEMUX_BYTE_SOURCE_H

#include "demux/demux.h"

namespace psi::demux {

/** @brief A run of bytes; valid until the next read. */
struct Chunk {
    const u8 *data = nullptr;
    size_t size = 0;
};

class CaptureReader;

/** @brief Reads an input once, front to back: its bytes, or the packets of a stream in a capture. */
class ByteSource {
public:
    /** @brief Open by name; "-" is standard input. Throws InputError. @param most bytes to be read; 0: all */
    explicit ByteSource(const std::string &input, uint64_t most = 0);
    ~ByteSource();
    ByteSource(const ByteSource &) = delete;
    ByteSource &operator=(const ByteSource &) = delete;

    const std::string &name() const { return shownName; }
    /** @brief True for a regular file: reading never waits for another program. */
    bool isFile() const { return regular; }
    /** @brief Bytes of a file from the place where reading began, else 0. */
    uint64_t size() const { return total; }

    /**
     * @brief Read on.
     * @param waitMs how long to wait for bytes of a pipe, -1: for ever
     * @param chunk gets the bytes, none when the time passed without any
     * @return false at the end. Throws InputError when reading fails.
     */
    bool read(int waitMs, Chunk &chunk);
    /** @brief Put in what was counted besides the bytes. */
    void addTo(Statistics &statistics) const;

private:
    [[noreturn]] void fail(const std::string &why) const;

    void openFile(const std::string &input);

    std::string shownName;
    std::unique_ptr<CaptureReader> capture;
    std::vector<u8> captured;
    int descriptor = -1;
    bool regular = false;
    bool begun = false;
    uint64_t total = 0;
    uint64_t left;
    uint64_t lost = 0;
    struct PageDeleter {
        void operator()(u8 *bytes) const;
    };
    std::unique_ptr<u8, PageDeleter> buffer;
};

} // namespace psi::demux

#endif // PSI_DEMUX_BYTE_SOURCE_H
