#include "memoryHost.h"
#include "rows.h"

#include <memory>

namespace psibench {
namespace {

/** @brief A stream of `programs` programs with PAT, PMTs, SDT and NIT. */
class SearchedStream {
public:
    explicit SearchedStream(u16 programs) : programs_(programs)
    {
        host_.carry(0x0000, patSection(1, programs));
        host_.carry(0x0011, sdtSection(1, programs));
        host_.carry(0x0010, nitSection());
        for (u16 program = 1; program <= programs; ++program)
            host_.carry(pmtPidOf(program), pmtSection(program, 3));
    }
    void searchAll()
    {
        require(host_.search(PSI_PAT) == 1 && host_.search(PSI_PMT) == programs_ && host_.search(PSI_SDT_ACTUAL) == 1 &&
                host_.search(PSI_NIT_ACTUAL) == 1);
        host_.clear();
    }

private:
    u16 programs_;
    MemoryHost host_;
};

} // namespace

void addSearchRows(std::vector<Row> &rows)
{
    constexpr u16 programs = 10;
    const auto stream = std::make_shared<SearchedStream>(programs);
    const auto work = [stream](unsigned times) {
        for (unsigned i = 0; i < times; ++i)
            stream->searchAll();
    };
    rows.push_back({"search 10 programs", 0, work});
}

} // namespace psibench
