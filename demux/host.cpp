#include "demux/input.h"
#include "demux/packetizer.h"
#include "demux/searchClock.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace psi::demux {

namespace {

/** A search object with the filter that feeds it. */
struct Session {
    std::shared_ptr<Input> input;
    std::unique_ptr<SectionFilter> filter;
    std::string name;
    psiObjId object = 0;
    std::atomic<bool> stopped{false};
    Captured captured;
};

/** The callbacks carry nothing but the search object's handle: this finds the Session behind it. */
class Directory {
public:
    static Directory &instance()
    {
        static Directory directory;
        return directory;
    }

    psiObjId create(const psiSchRegisterInfo &info, Session *session)
    {
        const std::lock_guard one(making);
        const psiObjId object = psiSchCreate(&info);
        if (object != 0) {
            const std::unique_lock lock(mutex);
            sessions[object] = session;
        }
        return object;
    }

    void destroy(psiObjId object)
    {
        const std::lock_guard one(making);
        {
            const std::unique_lock lock(mutex);
            sessions.erase(object);
        }
        psiSchDestroy(object);
    }

    Session *find(psiObjId object) const
    {
        const std::shared_lock lock(mutex);
        const auto found = sessions.find(object);
        return found == sessions.end() ? nullptr : found->second;
    }

private:
    std::mutex making;               /**< search objects are to be made and destroyed by one thread at a time */
    mutable std::shared_mutex mutex; /**< of the map; taken inside callbacks, so never around a call of the library */
    std::unordered_map<psiObjId, Session *> sessions;
};

i32 armFilter(psiSchInfo *info) noexcept
{
    Session *session = Directory::instance().find(info->objId);
    if (session == nullptr)
        return -1;
    session->filter->arm(*info);
    return 0;
}

i32 readFilter(psiSchInfo *info, u8 *tsBuf, u8 *tsNum) noexcept
{
    Session *session = Directory::instance().find(info->objId);
    if (session == nullptr)
        return PSI_NO_TABLE;
    if (session->stopped) {
        // A PAT search takes back a stop that came before it.
        psiSchStop(session->object);
        return PSI_DATA_NO_READY;
    }
    const i32 result = session->filter->take(session->captured);
    if (result == PSI_DATA_OK)
        *tsNum = packetize(info->pid, session->captured.bytes.data(), session->captured.length, tsBuf);
    return result;
}

void sleepThread(u32 ms) noexcept
{
    SearchClock::ofThread().sleep(ms);
}

u32 tickOfThread() noexcept
{
    return SearchClock::ofThread().now();
}

} // namespace

bool initLibrary(u32 poolBytes)
{
    static const bool done = [poolBytes] {
        const psiInitRegisterInfo info = {0, poolBytes, 0, sleepThread, tickOfThread};
        return psiSch_Init(&info) == 0;
    }();
    return done;
}

struct Host::Impl : Session {
    Impl(std::shared_ptr<Input> source, const std::string &shownName)
    {
        input = std::move(source);
        filter = input->attach();
        name = shownName;
        const psiSchRegisterInfo info = {0, 0, armFilter, readFilter};
        object = Directory::instance().create(info, this);
        if (object == 0)
            throw std::runtime_error("no room in the pool for a search object");
    }
    ~Impl() { Directory::instance().destroy(object); }
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;
};

std::unique_ptr<Host> Host::open(const std::string &input, const Options &options)
{
    auto source = isLiveUrl(input) ? openLive(input, options) : openRecording(input, options);
    const std::string shownName = input == "-" ? "standard input" : input;
    return std::unique_ptr<Host>(new Host(std::make_unique<Impl>(std::move(source), shownName)));
}

std::unique_ptr<Host> Host::openMemory(const u8 *bytes, size_t size, const std::string &name, const Options &options)
{
    return std::unique_ptr<Host>(new Host(std::make_unique<Impl>(openBytes(bytes, size, name, options), name)));
}

std::unique_ptr<Host> Host::openSections(const std::vector<Section> &sections, const std::string &name)
{
    return std::unique_ptr<Host>(new Host(std::make_unique<Impl>(demux::openSections(sections, name), name)));
}

std::unique_ptr<Host> Host::another() const
{
    return std::unique_ptr<Host>(new Host(std::make_unique<Impl>(impl->input, impl->name)));
}

Host::Host(std::unique_ptr<Impl> made) : impl(std::move(made)) {}

Host::~Host() = default;

psiObjId Host::object() const
{
    return impl->object;
}

const std::string &Host::name() const
{
    return impl->name;
}

bool Host::live() const
{
    return impl->input->live();
}

u32 Host::search(u32 psiType)
{
    restart();
    return stopped() ? 0 : schTable(impl->object, psiType);
}

i32 Host::searchAll(u32 standard)
{
    restart();
    return stopped() ? -1 : autoSchTable(impl->object, standard);
}

u32 Host::searchAgain(u32 psiType, u32 standard)
{
    restart();
    return stopped() ? 0 : re_SchTable(impl->object, psiType, standard);
}

void Host::restart()
{
    impl->filter->restart();
}

void Host::stop() noexcept
{
    impl->stopped = true;
    psiSchStop(impl->object);
}

void Host::resume() noexcept
{
    impl->stopped = false;
    psiSchStopResume(impl->object);
}

bool Host::stopped() const noexcept
{
    return impl->stopped;
}

void Host::readToEnd()
{
    impl->input->readToEnd(impl->stopped);
}

std::string Host::failure() const
{
    return impl->input->failure();
}

Statistics Host::statistics() const
{
    return impl->input->statistics();
}

std::vector<PidStatistics> Host::pids() const
{
    return impl->input->pids();
}

std::vector<Section> Host::sections() const
{
    return impl->input->sections();
}

} // namespace psi::demux
