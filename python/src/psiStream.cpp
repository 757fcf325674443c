#include "psiStream.h"

#include "demux/sectionStream.h"
#include "psi.h"

#include <cstdio>
#include <new>

using psi::demux::SectionStream;
using psi::demux::StreamedSection;

struct psiStream {
    SectionStream sections;
    StreamedSection last;

    psiStream(const char *input, bool repetitions) : sections(input, repetitions) {}
};

namespace {

void tell(psiDescribeError *error, const char *message)
{
    error->place[0] = '\0';
    std::snprintf(error->message, sizeof error->message, "%s", message);
}

} // namespace

psiStream *psiStreamOpen(const char *input, int repetitions, psiDescribeError *error)
{
    try {
        // The library in this module is nobody else's: its messages have no reader.
        setPsiSchRPTLevel(0);
        if (!psi::demux::initLibrary())
            throw std::bad_alloc();
        return new psiStream(input, repetitions != 0);
    } catch (const std::exception &wrong) {
        tell(error, wrong.what());
        return nullptr;
    }
}

int psiStreamNext(psiStream *stream, int waitMs, psiStreamSection *section, psiDescribeError *error)
{
    try {
        switch (stream->sections.next(waitMs, stream->last)) {
        case SectionStream::Next::waited:
            return 0;
        case SectionStream::Next::ended:
            return -1;
        case SectionStream::Next::section:
            break;
        }
        const StreamedSection &last = stream->last;
        *section = {last.bytes.data(), last.bytes.size(), last.packet, last.pid, last.repeated ? 1 : 0};
        return 1;
    } catch (const std::exception &wrong) {
        tell(error, wrong.what());
        return -2;
    }
}

void psiStreamClose(psiStream *stream)
{
    delete stream;
}

const char *psiStreamVersion()
{
    return psiVersion();
}
