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
    quarlo::Problem Load(const std::string& report);
    bool loaded() const { return loaded_; }

    /**
     * The page of another picture of the same scan: of the file with the same name, else with the same stem in any
     * folder, else of the only file in the report.
     */
    quarlo::Problem Find(const std::string& input, int page, quarlo::Placement* placement) const;

private:
    /* The file of the report that is meant by an input. */
    quarlo::Problem FileMeant(const std::string& input, std::string* file) const;

    bool loaded_ = false;
    std::map<std::string, std::map<int, quarlo::Placement>> files_; /* by name, and page */
    std::multimap<std::string, std::string> stems_;                 /* and the files that have them */
};

} // namespace tool

#endif
