/*
 * Batch.cpp - many inputs, worked on by a fixed number of processes, told in their order.
 */
#include "Batch.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

#include "Jobs.h"
#include "Signals.h"
#include "Wire.h"

using namespace quarlo;

namespace tool
{

namespace
{

constexpr int kTick = 100; /* milliseconds after which a watcher hears of us, and a signal is seen at latest */
constexpr size_t kMostAhead = 256; /* inputs for each job that may be finished before one that is not */

bool EndsWork(const Options& options, const FileRecord& file)
{
    for (const PageRecord& page : file.pages)
        if (EndsWork(options, page.result)) return true;
    return false;
}

} // namespace

Batch::Batch(const Options& options, const KnownPages& known, Claims* claims)
    : options_(options), known_(known), claims_(*claims), free_(options.jobs > 0 ? options.jobs : AutomaticJobs()),
      most_ahead_(kMostAhead * static_cast<size_t>(free_))
{
}

/* Nobody is busy any more, unless memory ran out here. */
Batch::~Batch()
{
    for (Worker& worker : workers_) {
        if (worker.busy) kill(worker.process, SIGTERM);
        worker.link.Close();
    }
    for (const Worker& worker : workers_) WhyEnded(worker.process);
}

/* ---- Work is handed out ---- */

bool Batch::MayBegin() const
{
    return next_ < end_ && free_ > 0 && !ended_ && StopSignal() == 0 && next_ - told_ < most_ahead_;
}

void Batch::HandOut()
{
    while (MayBegin()) {
        Worker* worker = IdleWorker();
        if (worker == nullptr && !workers_.empty()) return; /* those that there are will come to it */
        Job& job = jobs_[next_];
        if (worker == nullptr) {
            const Problem problem = {Code::out_of_memory, "page",
                                     std::string("no process for it: ") + std::strerror(errno)};
            job.record = FailedFile(options_.inputs[next_++], problem);
            continue;
        }
        worker->busy = true;
        worker->input = next_;
        worker->slots = 1;
        --free_;
        job.worker = worker;
        /* Where it has died meanwhile, that is heard from its link. */
        SendMessage(worker->link.number(), Topic::work, Packed(options_.inputs[next_++]));
    }
}

Batch::Worker* Batch::IdleWorker()
{
    for (Worker& worker : workers_)
        if (!worker.busy && !worker.ends) return &worker;
    return NewWorker();
}

Batch::Worker* Batch::NewWorker()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return nullptr;
    Owned ours(ends[0]), theirs(ends[1]);
    const pid_t process = Fork(SIGTERM);
    if (process < 0) return nullptr;
    if (process == 0) {
        /* A worker is to notice when the foreman is gone, so nobody else may hold the foreman's ends. */
        ours.Close();
        for (Worker& other : workers_) other.link.Close();
        std::exit(BeWorker(theirs.number(), options_, known_));
    }
    workers_.push_back({process, std::move(ours)});
    return &workers_.back();
}

/* The earliest document first. */
void Batch::GrantSlots()
{
    if (ended_) return;
    for (auto& [input, job] : jobs_) {
        Worker* worker = job.worker;
        while (free_ > 0 && worker != nullptr && worker->wants > 0) {
            SendMessage(worker->link.number(), Topic::slot);
            --worker->wants;
            ++worker->slots;
            --free_;
        }
    }
}

/* ---- Workers are heard ---- */

void Batch::Listen()
{
    std::vector<pollfd> waiting;
    std::vector<Worker*> heard;
    for (Worker& worker : workers_) {
        waiting.push_back({worker.link.number(), POLLIN, 0});
        heard.push_back(&worker);
    }
    if (poll(waiting.data(), waiting.size(), kTick) <= 0) return;
    for (size_t i = 0; i < waiting.size(); ++i)
        if (waiting[i].revents != 0) Hear(heard[i]);
}

void Batch::Hear(Worker* worker)
{
    Message message;
    if (ReceiveMessage(worker->link.number(), &message))
        Obey(worker, message);
    else
        Lose(worker);
}

void Batch::Obey(Worker* worker, const Message& message)
{
    if (!worker->busy) return;
    Job& job = jobs_[worker->input];
    int count = 0;
    Outcome outcome;
    switch (message.topic) {
    case Topic::claim:
        if (!Unpack(message.body, &job.wishes.emplace())) Lose(worker);
        break;
    case Topic::ready:
        job.waits_to_write = true;
        break;
    case Topic::line:
        (*announce_)(message.body);
        SendMessage(worker->link.number(), Topic::noted);
        break;
    case Topic::want:
        if (Unpack(message.body, &count)) worker->wants = count;
        break;
    case Topic::free:
        if (!Unpack(message.body, &count) || count < 0 || count >= worker->slots) break;
        worker->slots -= count;
        free_ += count;
        break;
    case Topic::done:
        if (!Unpack(message.body, &outcome)) return Lose(worker);
        if (outcome.closed_pipe) NoteClosedPipe();
        worker->ends = outcome.ends;
        Finish(worker, std::move(outcome.record));
        break;
    default:
        break;
    }
}

void Batch::Finish(Worker* worker, FileRecord record)
{
    /* A worker that was told to end, but not by the signal that ends the call, has not done its page. */
    for (PageRecord& page : record.pages)
        if (page.result.report.problem.code == Code::interrupted && StopSignal() == 0)
            page.result.Fail(Status::error, ToldToEnd());
    (*watch_)(&record);
    Job& job = jobs_[worker->input];
    job.record = std::move(record);
    job.worker = nullptr;
    free_ += worker->slots;
    worker->busy = false;
    worker->slots = worker->wants = 0;
}

/* The worker is gone, and with it the input that it had in hand, and nothing else. */
void Batch::Lose(Worker* worker)
{
    kill(worker->process, SIGKILL); /* or it makes no sense any more */
    const Problem end = WhyEnded(worker->process);
    if (worker->busy)
        Finish(worker, FailedFile(options_.inputs[worker->input], StopSignal() != 0 ? Interrupted("page") : end));
    workers_.remove_if([worker](const Worker& other) { return &other == worker; });
}

/* ---- Answers, in the order of the inputs ---- */

void Batch::AnswerClaims()
{
    for (; claims_next_ < next_; ++claims_next_) {
        const auto found = jobs_.find(claims_next_);
        if (found == jobs_.end()) continue; /* it is told of */
        const Job& job = found->second;
        if (job.wishes && job.worker != nullptr)
            Answer(*job.wishes, *job.worker);
        else if (!job.record)
            return;
    }
}

void Batch::Answer(const Wishes& wishes, const Worker& worker)
{
    Grants grants;
    for (const std::string& target : wishes.targets)
        grants.complaints.push_back(target.empty() ? "" : claims_.Claim(target, options_.in_place));
    for (const std::string& drawing : wishes.drawings) grants.drawings.push_back(claims_.ClaimDrawing(drawing));
    SendMessage(worker.link.number(), Topic::grant, Packed(grants));
}

/* Only where an input may end the work is there a reason to wait for those before it. */
void Batch::LetWrite()
{
    const bool may_end = options_.fail_fast || options_.on_fail == OnFail::stop;
    for (auto& [input, job] : jobs_) {
        if (!job.waits_to_write || job.worker == nullptr) continue;
        if (may_end && !ended_ && input != told_) continue;
        SendMessage(job.worker->link.number(), Topic::go, ended_ ? "no" : "");
        job.waits_to_write = false;
    }
}

void Batch::TellInOrder(const Teller& tell)
{
    for (auto job = jobs_.begin(); job != jobs_.end() && job->first == told_ && job->second.record; ++told_) {
        if (!ended_) tell(*job->second.record);
        if (EndsWork(options_, *job->second.record) && StopSignal() == 0) ended_ = true;
        job = jobs_.erase(job);
    }
}

/* ---- The whole ---- */

/* Ctrl-C reaches workers by itself, other signals may not. */
void Batch::PassOnSignal()
{
    if (passed_on_ || (StopSignal() == 0 && !ended_)) return;
    passed_on_ = true;
    for (const Worker& worker : workers_)
        if (worker.busy) kill(worker.process, SIGTERM);
}

void Batch::Run(Part part, const Teller& tell, const Announcer& announce, const Watcher& watch)
{
    announce_ = &announce;
    watch_ = &watch;
    next_ = claims_next_ = told_ = part.begin;
    end_ = part.end;
    for (;;) {
        PassOnSignal();
        GrantSlots();
        HandOut();
        AnswerClaims();
        LetWrite();
        TellInOrder(tell);
        if (jobs_.empty() && (next_ == end_ || ended_ || StopSignal() != 0)) break;
        Listen();
        watch(nullptr);
    }
}

} // namespace tool
