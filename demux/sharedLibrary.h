/**
 * @file sharedLibrary.h
 * @brief Libraries that few runs of a program need: loaded when they are first called, not when the program starts.
 */
#ifndef PSI_DEMUX_SHARED_LIBRARY_H
#define PSI_DEMUX_SHARED_LIBRARY_H

#include <dlfcn.h>

#include <initializer_list>

namespace psi::demux {

/** @brief A library with functions in C. Once loaded it stays until the program ends. */
class SharedLibrary {
public:
    /** @brief Load it. @param names what it is called in one system or another, tried in turn */
    SharedLibrary(std::initializer_list<const char *> names)
    {
        for (const char *name : names)
            if (handle == nullptr)
                handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    }

    /** @brief Look for a function. @param function gets it, null when it is not there @return whether it is */
    template <class Function> bool find(const char *name, Function *&function) const
    {
        function = handle == nullptr ? nullptr : reinterpret_cast<Function *>(dlsym(handle, name));
        return function != nullptr;
    }

private:
    void *handle = nullptr;
};

} // namespace psi::demux

#endif // PSI_DEMUX_SHARED_LIBRARY_H
