/*
 * PageCrew.cpp - the pages of a document, side by side.
 *
 * A child begins with all that the parent has in memory, so that only its result has to cross. It waits with that until
 * it is its turn: then the parent reads it, and at no time holds more than one page.
 */
#include "PageCrew.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <unistd.h>

#include "Signals.h"
#include "Wire.h"

using namespace quarlo;

namespace tool
{

namespace
{

constexpr int kPipeSize = 1 << 20; /* the usual one makes many turns of a page */

PageResult Failed(int index, const Problem& problem)
{
    PageResult result;
    result.report.page = index + 1;
    result.Fail(Status::error, problem);
    return result;
}

size_t RowBytes(const Bitmap& bitmap)
{
    return (static_cast<size_t>(bitmap.width()) * static_cast<size_t>(bitmap.depth()) + 7) / 8;
}

bool SendPage(int pipe, const PageResult& result)
{
    const Bitmap& bitmap = result.page.bitmap;
    bool sent = SendMessage(pipe, Topic::done, Packed(result));
    for (int y = 0; sent && y < bitmap.height(); ++y) sent = Transmit(pipe, bitmap.row(y), RowBytes(bitmap));
    return sent;
}

bool ReceivePage(int pipe, PageResult* result)
{
    Message message;
    if (!ReceiveMessage(pipe, &message) || !Unpack(message.body, result)) return false;
    Bitmap& bitmap = result->page.bitmap;
    bool received = true;
    for (int y = 0; received && y < bitmap.height(); ++y) received = Receive(pipe, bitmap.row(y), RowBytes(bitmap));
    return received;
}

} // namespace

PageCrew::PageCrew(std::vector<int> indices, Work work, Foreman* foreman)
    : indices_(std::move(indices)), work_(std::move(work)), foreman_(foreman)
{
    asked_ = static_cast<int>(indices_.size()) - slots_;
    if (asked_ > 0) foreman_->WantSlots(asked_);
}

PageCrew::~PageCrew()
{
    for (const Child& child : children_) kill(child.process, SIGKILL);
    for (const Child& child : children_) WhyEnded(child.process);
}

/* As many children as there may be. */
void PageCrew::Begin()
{
    const int granted = foreman_->TakeSlots();
    slots_ += granted;
    asked_ -= granted;
    const int left = static_cast<int>(indices_.size() - begun_ + children_.size());
    const int spare = slots_ - std::max(left, 1);
    if (spare > 0) {
        foreman_->FreeSlots(spare);
        slots_ -= spare;
    }
    while (static_cast<int>(children_.size()) < slots_ && begun_ < indices_.size() && StopSignal() == 0) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        Owned reading(ends[0]), writing(ends[1]);
        fcntl(writing.number(), F_SETPIPE_SZ, kPipeSize);
        const int index = indices_[begun_];
        const pid_t process = Fork(SIGKILL);
        if (process == 0) {
            reading.Close();
            BeChild(index, writing.number());
        }
        if (process < 0) return;
        ++begun_;
        children_.push_back({index, process, std::move(reading)});
    }
}

void PageCrew::BeChild(int index, int pipe) const
{
    try {
        close(foreman_->descriptor());
        _exit(SendPage(pipe, work_(index)) ? 0 : 1);
    } catch (const std::bad_alloc&) {
        _exit(kNoMemory);
    }
}

/* Meanwhile another slot may be granted. Asked to stop, the children finish their step, and then say so. */
void PageCrew::WaitForNext()
{
    bool told = false;
    for (;;) {
        if (StopSignal() != 0 && !told) {
            for (const Child& child : children_) kill(child.process, SIGTERM);
            told = true;
        }
        pollfd waiting[] = {{children_.front().pipe.number(), POLLIN, 0}, {foreman_->descriptor(), POLLIN, 0}};
        const bool more = asked_ > 0 && begun_ < indices_.size();
        const int ready = poll(waiting, more ? 2 : 1, -1);
        if (ready < 0 && errno != EINTR) return;
        if (ready > 0 && waiting[0].revents != 0) return;
        if (ready > 0) Begin();
    }
}

PageResult PageCrew::Gather(const Child& child) const
{
    PageResult result;
    const bool received = ReceivePage(child.pipe.number(), &result);
    if (!received) kill(child.process, SIGKILL); /* it may be at odds with us; it is not to go on waiting */
    const Problem end = WhyEnded(child.process);
    if (!received) return Failed(child.index, end);
    if (result.report.problem.code == Code::interrupted && StopSignal() == 0)
        result.Fail(Status::error, ToldToEnd());
    return result;
}

PageResult PageCrew::Take()
{
    Begin();
    if (children_.empty()) {
        const int index = indices_[begun_++];
        /* Where there is no process to be had, this one has to do. */
        return StopSignal() != 0 ? Failed(index, Interrupted("page")) : work_(index);
    }
    WaitForNext();
    const Child child = std::move(children_.front());
    children_.pop_front();
    return Gather(child);
}

} // namespace tool
