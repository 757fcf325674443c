// A host in C++: what sections a stream has, by the libraries beside psi.
#include "demux/demux.h"
#include "demux/sectionStream.h"
#include "describe/tableKinds.h"

#include <iostream>

int main(int argc, char **argv)
{
    if (argc != 2 || !psi::demux::initLibrary())
        return 2;
    psi::demux::SectionStream stream(argv[1]);
    psi::demux::StreamedSection section;
    while (stream.next(-1, section) == psi::demux::SectionStream::Next::section) {
        const psi::describe::ByteView bytes(section.bytes.data(), section.bytes.size());
        const psi::describe::TableKind *kind = psi::describe::tableKindOf(bytes, section.pid);
        std::cout << "PID " << section.pid << " " << (kind != nullptr ? kind->title : "?") << "\n";
    }
}
