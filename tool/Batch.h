/*
 * Batch.h - many inputs, worked on by a fixed number of processes, told in their order.
 *
 * The foreman, which is this process, opens no picture: it hands inputs to workers, answers what they ask, and gathers
 * records. A slot is the right to work on one page; there are as many as --jobs says. A worker has one, and may be
 * given more for the pages of a document. What a worker asks is answered in the order of the inputs, so that names are
 * given, and work ends, as if inputs were taken one after the other.
 */
#ifndef QUARLO_TOOL_BATCH_H
#define QUARLO_TOOL_BATCH_H

#include <functional>
#include <list>
#include <map>
#include <optional>

#include "Naming.h"
#include "Process.h"
#include "Sources.h"
#include "Worker.h"

namespace tool
{

class Batch
{
public:
    /** Who is told of each input, in order. */
    using Teller = std::function<void(const FileRecord&)>;
    /** Who takes down lines of the report before the files that they are about are there, in any order. */
    using Announcer = std::function<void(const std::string&)>;
    /** Who is called when an input is finished, in any order, and often in between: then with null. */
    using Watcher = std::function<void(const FileRecord*)>;

    Batch(const Options& options, const KnownPages& known, Claims* claims);
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    /** Works on all inputs of the part, until one ends the work or a signal asks to stop. */
    void Run(Part part, const Teller& tell, const Announcer& announce, const Watcher& watch);

private:
    struct Worker {
        pid_t process;
        Owned link;
        bool busy = false;
        bool ends = false; /* it was asked to stop */
        size_t input = 0;
        int slots = 0; /* that it has */
        int wants = 0; /* more */
    };
    /* An input that was handed out and not told of. */
    struct Job {
        Worker* worker = nullptr; /* while it is worked on */
        std::optional<Wishes> wishes;
        bool waits_to_write = false;
        std::optional<FileRecord> record;
    };

    bool MayBegin() const;
    void HandOut();
    Worker* IdleWorker();
    Worker* NewWorker();
    void GrantSlots();
    void Listen();
    void Hear(Worker* worker);
    void Obey(Worker* worker, const Message& message);
    void Finish(Worker* worker, FileRecord record);
    void Lose(Worker* worker);
    void AnswerClaims();
    void Answer(const Wishes& wishes, const Worker& worker);
    void LetWrite();
    void TellInOrder(const Teller& tell);
    void PassOnSignal();

    const Options& options_;
    const KnownPages& known_;
    Claims& claims_;
    int free_;          /* slots */
    size_t most_ahead_; /* inputs that may be handed out before one is told of */
    std::list<Worker> workers_;
    std::map<size_t, Job> jobs_; /* by input */
    size_t next_ = 0, end_ = 0;  /* the input to be handed out next, and the one after the last */
    size_t claims_next_ = 0;     /* the input whose claims are answered next */
    size_t told_ = 0;            /* inputs before it are told of */
    bool ended_ = false;         /* an input ended the work: those after it do not count */
    bool passed_on_ = false;     /* the signal */
    const Announcer* announce_ = nullptr;
    const Watcher* watch_ = nullptr;
};

} // namespace tool

#endif
