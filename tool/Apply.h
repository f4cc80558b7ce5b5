/*
 * Apply.h - placements that are known from a report.
 */
#ifndef QUARLO_TOOL_APPLY_H
#define QUARLO_TOOL_APPLY_H

#include <map>
#include <string>

#include "quarlo/pages.hpp"

namespace tool
{

class KnownPages
{
public:
    /** `one_input`: the call has a single input, which may go by another name in the report. */
    quarlo::Problem Load(const std::string& report, bool one_input);
    bool loaded() const { return loaded_; }

    /**
     * The page of another picture of the same scan: of the file with the same name, else with the same stem in any
     * folder, else, for a single input, of the only file in the report. The placement is that in a picture of this
     * size, which has to be of the same shape.
     */
    quarlo::Problem Find(const std::string& input, int page, int width, int height,
                         quarlo::Placement* placement) const;

private:
    /* The file of the report that is meant by an input. */
    quarlo::Problem FileMeant(const std::string& input, std::string* file) const;

    bool loaded_ = false;
    bool one_input_ = false;
    std::map<std::string, std::map<int, quarlo::Placement>> files_; /* by name, and page */
    std::multimap<std::string, std::string> stems_;                 /* and the files that have them */
};

} // namespace tool

#endif
