/**
 * @file foreignClasses.h
 * @brief Classes of a C++ product in the global namespace, with names and members that the library's could have.
 *
 * Inline members are weak symbols: of two classes with one name the linker takes the members of one, for both.
 */
#ifndef FOREIGN_CLASSES_H
#define FOREIGN_CLASSES_H

#define FOREIGN __attribute__((noinline, used))

class Reader {
public:
    FOREIGN Reader(const u8 *, u32) { foreign(); }
    FOREIGN u32 remaining() const { return static_cast<u32>(foreign()); }
    FOREIGN bool overrun() const { return foreign() != 0; }
    FOREIGN const u8 *position() const { return foreign() != 0 ? nullptr : &byte_; }
    FOREIGN u8 take8() { return static_cast<u8>(foreign()); }
    FOREIGN u16 take16() { return static_cast<u16>(foreign()); }
    FOREIGN u32 take24() { return static_cast<u32>(foreign()); }
    FOREIGN u32 take32() { return static_cast<u32>(foreign()); }
    FOREIGN u16 takePid() { return static_cast<u16>(foreign()); }
    FOREIGN u16 takeLength12() { return static_cast<u16>(foreign()); }
    FOREIGN const u8 *takeBytes(u32) { return foreign() != 0 ? nullptr : &byte_; }
    FOREIGN Reader takeLoop(u32) { return *this; }
    FOREIGN void skip(u32) { foreign(); }

private:
    u8 byte_ = 0;
};

class MutexGuard {
public:
    FOREIGN explicit MutexGuard(psiSemId) { foreign(); }
    FOREIGN ~MutexGuard() { foreign(); }
};

class PoolGuard {
public:
    FOREIGN explicit PoolGuard(psiPoolId) { foreign(); }
    FOREIGN ~PoolGuard() { foreign(); }
    FOREIGN void *allocate(u32) { return foreign() != 0 ? nullptr : this; }
    FOREIGN i32 release(void *) { return foreign(); }
};

class SectionWriter {
public:
    FOREIGN void put8(u32) { foreign(); }
    FOREIGN void put16(u32) { foreign(); }
    FOREIGN void putBytes(const u8 *, u32) { foreign(); }
};

template <class T> class PoolBlock {
public:
    FOREIGN PoolBlock() { foreign(); }
    FOREIGN ~PoolBlock() { foreign(); }
    FOREIGN T *get() const { return foreign() != 0 ? nullptr : value_; }

private:
    T *value_ = nullptr;
};
template class PoolBlock<psiSchInfo>;
template class PoolBlock<struct tableInfo>;

FOREIGN inline u16 beU16(const u8 *)
{
    return static_cast<u16>(foreign());
}
FOREIGN inline u32 beU32(const u8 *)
{
    return static_cast<u32>(foreign());
}
template <class Node> FOREIGN Node *nextOf(const Node *)
{
    return foreign() != 0 ? nullptr : nullptr;
}
template progInfo *nextOf<progInfo>(const progInfo *);
template sectionData *nextOf<sectionData>(const sectionData *);

#endif
