/*
 * Apply.h - placements that are known from a report.
 */
#ifndef QUARLO_TOOL_APPLY_H
#define QUARLO_TOOL_APPLY_H

#include <string>
#include <vector>

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
    bool loaded_ = false;
    std::vector<quarlo::KnownPage> pages_;
};

} // namespace tool

#endif
