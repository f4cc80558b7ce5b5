/*
 * PageCrew.h - the pages of a document, worked on side by side, each in a process of its own: one that dies takes no
 * other page with it.
 */
#ifndef QUARLO_TOOL_PAGECREW_H
#define QUARLO_TOOL_PAGECREW_H

#include <deque>
#include <functional>
#include <vector>

#include "FileJob.h"
#include "Process.h"

namespace tool
{

class PageCrew
{
public:
    using Work = std::function<PageResult(int index)>;

    /** The pages in the order in which they will be taken; `work` runs in the processes. */
    PageCrew(std::vector<int> indices, Work work, Foreman* foreman);
    /** Ends what still runs. */
    ~PageCrew();
    PageCrew(const PageCrew&) = delete;
    PageCrew& operator=(const PageCrew&) = delete;

    /** The next page. While the caller is busy with it, no page is begun in its place. */
    PageResult Take();

private:
    struct Child {
        int index;
        pid_t process;
        Owned pipe;
    };

    void Begin();
    void WaitForNext();
    PageResult Gather(const Child& child) const;
    [[noreturn]] void BeChild(int index, int pipe) const;

    std::vector<int> indices_;
    size_t begun_ = 0;
    Work work_;
    Foreman* foreman_;
    int slots_ = 1;
    int asked_ = 0; /* of the foreman, and not granted yet */
    std::deque<Child> children_;
};

} // namespace tool

#endif
