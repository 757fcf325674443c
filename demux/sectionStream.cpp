#include "demux/sectionStream.h"

#include <chrono>

namespace psi::demux {

namespace {

constexpr size_t kMostWaiting = 256;
constexpr double kForEver = 1e12;

CollectorOptions endless(std::function<void(const ArrivedSection &)> onSection)
{
    CollectorOptions options;
    options.timeout = kForEver;
    options.untilTimeout = true;
    options.onSection = std::move(onSection);
    return options;
}

} // namespace

SectionStream::SectionStream(const std::string &input, bool repetitions)
    : repetitions_(repetitions),
      collector_(input, endless([this](const ArrivedSection &one) {
                     if (repetitions_ || !one.repeated)
                         push({one.pid, one.repeated, one.packet, {one.bytes, one.bytes + one.length}});
                 }))
{
    thread_ = std::thread([this] { run(); });
}

SectionStream::~SectionStream()
{
    stop();
    thread_.join();
}

void SectionStream::run()
{
    std::string failure;
    try {
        collector_.run();
        failure = collector_.failure();
    } catch (const std::exception &error) {
        failure = error.what();
    }
    const std::lock_guard lock(mutex_);
    failure_ = std::move(failure);
    ended_ = true;
    changed_.notify_all();
}

void SectionStream::push(StreamedSection &&section)
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || waiting_.size() < kMostWaiting; });
    if (stopped_)
        return;
    waiting_.push_back(std::move(section));
    changed_.notify_all();
}

SectionStream::Next SectionStream::next(int waitMs, StreamedSection &section)
{
    std::unique_lock lock(mutex_);
    const auto ready = [this] { return ended_ || !waiting_.empty(); };
    if (waitMs < 0)
        changed_.wait(lock, ready);
    else if (!changed_.wait_for(lock, std::chrono::milliseconds(waitMs), ready))
        return Next::waited;
    if (!waiting_.empty()) {
        section = std::move(waiting_.front());
        waiting_.pop_front();
        changed_.notify_all();
        return Next::section;
    }
    if (!failure_.empty() && !stopped_)
        throw InputError(failure_);
    return Next::ended;
}

void SectionStream::stop() noexcept
{
    collector_.stop();
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

} // namespace psi::demux
