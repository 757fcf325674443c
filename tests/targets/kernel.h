/**
 * @file kernel.h
 * @brief An imitation of the kernel's calls, which a test looks into and lets fail.
 */
#ifndef KERNEL_H
#define KERNEL_H

#include <vxWorks.h>

#include <semLib.h>
#include <sysSymTbl.h>

#include <map>
#include <set>
#include <string>
#include <vector>

/** A mutex of the kernel that only counts. */
struct semaphore {
    int options;
    int taken;
    bool deleted;
};

struct symtab {
    std::map<std::string, char *> symbols;
};

struct Kernel {
    semaphore sem = {};
    semaphore second = {}; // what is created while the first one is taken
    bool outOfMutexes = false;
    bool semCallsFail = false;
    std::vector<int> timeouts;
    symtab symbols;
    bool outOfMemory = false;
    std::set<void *> blocks; /**< of the heap, since the last test began */
    size_t alignment = 0;    /**< of the last block that memalign() was asked for */
    unsigned tick = 0;
    int clockRate = 60;
    std::vector<int> delays; /**< what taskDelay() was asked for */
};

extern Kernel kernel;

#endif
