/**
 * @file described.h
 * @brief The program speaks of what the library of descriptions knows by its plain names.
 */
#ifndef PSITOOL_DESCRIBED_H
#define PSITOOL_DESCRIBED_H

namespace psi::describe {
}

namespace psitool {
using namespace psi::describe;
}

#endif
