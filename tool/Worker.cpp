/*
 * Worker.cpp - a process that takes inputs one after the other.
 */
#include "Worker.h"

#include <csignal>
#include <malloc.h>
#include <new>
#include <poll.h>

#include "Process.h"
#include "Signals.h"
#include "Wire.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* The foreman is another process. Slots may be granted at any time, also while an answer is awaited. */
class DistantForeman : public Foreman
{
public:
    explicit DistantForeman(int descriptor) : descriptor_(descriptor) {}

    bool Claim(const Wishes& wishes, Grants* grants) override
    {
        Message answer;
        return SendMessage(descriptor_, Topic::claim, Packed(wishes)) && Await(Topic::grant, &answer) &&
               Unpack(answer.body, grants) && grants->complaints.size() == wishes.targets.size() &&
               grants->drawings.size() == wishes.drawings.size();
    }

    bool MayWrite() override
    {
        Message answer;
        return SendMessage(descriptor_, Topic::ready) && Await(Topic::go, &answer) && answer.body.empty();
    }

    bool Announce(const std::string& lines) override
    {
        Message answer;
        return SendMessage(descriptor_, Topic::line, lines) && Await(Topic::noted, &answer);
    }

    void WantSlots(int count) override { SendMessage(descriptor_, Topic::want, Packed(count)); }
    void FreeSlots(int count) override { SendMessage(descriptor_, Topic::free, Packed(count)); }

    int TakeSlots() override
    {
        pollfd waiting = {descriptor_, POLLIN, 0};
        Message message;
        while (poll(&waiting, 1, 0) > 0 && ReceiveMessage(descriptor_, &message))
            if (message.topic == Topic::slot) ++slots_;
        return std::exchange(slots_, 0);
    }

    int descriptor() const override { return descriptor_; }

    bool AwaitWork(Source* source)
    {
        slots_ = 0; /* those of the last input are the foreman's again */
        Message message;
        return Await(Topic::work, &message) && Unpack(message.body, source);
    }

private:
    bool Await(Topic topic, Message* message)
    {
        while (WaitFor(descriptor_) && ReceiveMessage(descriptor_, message)) {
            if (message->topic == topic) return true;
            if (message->topic == Topic::slot) ++slots_;
        }
        return false;
    }

    int descriptor_;
    int slots_ = 0;
};

/*
 * Pages are alike: what one has released serves the next. Given back to the system, it would come anew, and cleared, for
 * each. Larger blocks than that still go back.
 */
void KeepMemory()
{
    constexpr int largest = 32 << 20, most = 256 << 20;
    mallopt(M_MMAP_THRESHOLD, largest);
    mallopt(M_TRIM_THRESHOLD, most);
}

} // namespace

int BeWorker(int descriptor, const Options& options, const KnownPages& known)
{
    KeepMemory();
    try {
        DistantForeman foreman(descriptor);
        Source source;
        while (foreman.AwaitWork(&source)) {
            Outcome outcome;
            outcome.record = DoFile(options, known, source, &foreman);
            outcome.closed_pipe = StopSignal() == SIGPIPE;
            outcome.ends = StopSignal() != 0;
            if (!SendMessage(descriptor, Topic::done, Packed(outcome))) break;
        }
        return kDone;
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    }
}

} // namespace tool
