// Searches of a host that lies. Input: options, failing call, then operations; each read callback takes its answer from
// the same bytes. When they are used up, the host says that there is no table, or never has one.
#include "fuzzTarget.h"

#include "support/libraryFixture.h"
#include "support/packetBuilder.h"
#include "support/searchTest.h"

#include "platform.h"

#include <algorithm>

using namespace psi::core;

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

constexpr std::size_t headerSize = 8;

/** @brief Who plays both callbacks; one at a time. */
class HostileHost {
public:
    HostileHost(Input &input, bool endsSilently) : input_(input), endsSilently_(endsSilently)
    {
        current = this;
        const psiSchRegisterInfo info = {0, 0, arm, read};
        id_ = psiSchCreate(&info);
    }
    ~HostileHost() { current = nullptr; }
    HostileHost(const HostileHost &) = delete;
    HostileHost &operator=(const HostileHost &) = delete;

    psiObjId id() const { return id_; }

private:
    static i32 arm(psiSchInfo *info)
    {
        current->armed_ = *info;
        EXPECT_EQ(current->id_, info->objId);
        return 0;
    }
    static i32 read(psiSchInfo *info, u8 *tsBuf, u8 *tsNum)
    {
        EXPECT_TRUE(current->armed_ == *info) << "a read with another filter than the armed one";
        return current->answer(*info, tsBuf, tsNum);
    }

    i32 answer(const psiSchInfo &filter, u8 *tsBuf, u8 *tsNum)
    {
        if (input_.left() == 0) {
            clockTick += 10000; // so that a time-out is near
            return endsSilently_ ? PSI_DATA_NO_READY : PSI_NO_TABLE;
        }
        const u8 what = input_.byte();
        if (what & 0x80)
            meanwhile(input_.byte());
        switch (what & 7) {
        case 4:
            return packets(input_.bytes(input_.word()), filter, tsBuf, tsNum);
        case 5:
            return PSI_DATA_NO_READY;
        case 6:
            return PSI_DATA_ERROR;
        case 7:
            return static_cast<i32>(input_.byte()) - 3;
        default:
            return packets(psitest::packetsOf(section(filter, what), packetPid(filter, what)), filter, tsBuf, tsNum);
        }
    }
    /** @brief What a host may do inside of its callback, and what time does. */
    void meanwhile(u8 what)
    {
        switch (what & 7) {
        case 0:
            return psiSchStop(id_);
        case 1:
            return psiSchStopResume(id_);
        case 2:
            EXPECT_EQ(0, psiSchTimeOutSet(id_, what >> 3, input_.word()));
            return;
        default:
            clockTick += static_cast<u32>(what) << 5;
        }
    }
    static u16 packetPid(const psiSchInfo &filter, u8 what) { return what & 8 ? u16{0x1234} : filter.pid; }
    /** @brief A section that fits the filter, but for what the flags leave as it stands in the input. */
    Bytes section(const psiSchInfo &filter, u8 what)
    {
        Bytes bytes = input_.bytes(what & 0x40 ? input_.word() & 0x0FFF : input_.byte());
        if (bytes.size() < headerSize)
            return bytes;
        bytes[0] = filter.tableId;
        if (!(what & 0x10))
            bytes[6] = filter.sectionNo;
        if (filter.useIdExt != 0 && !(what & 0x20)) {
            bytes[3] = static_cast<u8>(filter.tableIdExt >> 8);
            bytes[4] = static_cast<u8>(filter.tableIdExt);
        }
        seal(bytes);
        return bytes;
    }
    static i32 packets(Bytes bytes, const psiSchInfo &filter, u8 *tsBuf, u8 *tsNum)
    {
        const std::size_t room = filter.longSection != 0 ? 24 : 7;
        const std::size_t fits = std::min(bytes.size(), room * psitest::packetSize);
        std::copy_n(bytes.begin(), fits, tsBuf);
        *tsNum = static_cast<u8>(bytes.size() / psitest::packetSize);
        return PSI_DATA_OK;
    }

    static HostileHost *current;

    Input &input_;
    bool endsSilently_;
    psiObjId id_;
    psiSchInfo armed_ = {};
};

HostileHost *HostileHost::current = nullptr;

/** @brief Nobody holds the object's mutex: then it cannot be given. */
void expectMutexFree(const tableObj &object)
{
#ifdef __SANITIZE_THREAD__
    static_cast<void>(object); // ThreadSanitizer takes the question itself for a mistake
#else
    EXPECT_FALSE(osMutexGive(object.semId)) << "the mutex is still held";
#endif
}

void operate(psiObjId id, Input &input)
{
    const u8 what = input.byte();
    const u32 type = what >> 3;
    switch (what & 7) {
    case 0:
    case 1:
    case 2:
        schTable(id, type);
        return;
    case 3:
        re_SchTable(id, type & 0x0F, type >> 4);
        return;
    case 4:
        autoSchTable(id, type & 1);
        return;
    case 5:
        EXPECT_EQ(0, clearTableInfo(id));
        return;
    case 6:
        psiSchStopResume(id);
        return;
    default:
        EXPECT_EQ(0, psiSchTimeOutSet(id, type, static_cast<u16>(input.byte() * 100)));
    }
}

constexpr u8 silentEnd = 1; // option: when the input is used up, no table comes and none is denied
constexpr u32 mostOperations = 12;

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const u8 failingCall = input.byte();
    clockTick = 0xFFFFF000; // it wraps
    HostileHost host(input, (options & silentEnd) != 0);
    const tableObj *object = getTableObj(host.id());
    ASSERT_NE(nullptr, object);
    for (u32 i = 0; i < mostOperations && input.left() != 0; ++i) {
        {
            const Faults faults(failingCall);
            operate(host.id(), input);
        }
        expectMutexFree(*object);
        psitest::expectNoDanglingBytes(object->tsInfo);
    }
    EXPECT_EQ(0, psiSchDestroy(host.id()));
}

} // namespace psifuzz
