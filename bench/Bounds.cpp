#include "Bounds.h"

#include <fnmatch.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Fail.h"

namespace bench
{

namespace
{

struct Bound {
    std::string rows;
    std::string column;
    std::string other; /* what it is divided by; may be empty */
    bool at_least;
    double limit;

    std::string Quantity() const { return other.empty() ? column : column + '/' + other; }
    bool Holds(double value) const { return at_least ? value >= limit : value <= limit; }
};

bool IsColumn(const std::string& name)
{
    for (const std::string& column : kColumns)
        if (column == name) return true;
    return false;
}

Bound BoundOf(const std::string& line)
{
    std::istringstream fields(line);
    std::string quantity, limit;
    Bound bound;
    if (!(fields >> bound.rows >> quantity >> limit) || limit.size() < 3) Fail("no bound: " + line);
    const size_t slash = quantity.find('/');
    bound.column = quantity.substr(0, slash);
    if (slash != std::string::npos) bound.other = quantity.substr(slash + 1);
    if (!IsColumn(bound.column) || (slash != std::string::npos && !IsColumn(bound.other)))
        Fail("no column: " + line);
    const std::string relation = limit.substr(0, 2);
    if (relation != ">=" && relation != "<=") Fail("neither >= nor <=: " + line);
    bound.at_least = relation == ">=";
    if (!(std::istringstream(limit.substr(2)) >> bound.limit)) Fail("no number: " + line);
    return bound;
}

std::vector<Bound> Load(const std::string& name)
{
    std::vector<Bound> bounds;
    std::ifstream file(name);
    if (!file) Fail("cannot read " + name);
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#') bounds.push_back(BoundOf(line));
    return bounds;
}

struct Tally {
    int kept = 0;
    int broken = 0;
    int unchecked = 0;
};

void CheckRow(const Bound& bound, const Result& result, Tally* tally)
{
    for (const std::string& column : {bound.column, bound.other}) {
        if (column.empty() || result.Has(column)) continue;
        std::printf("not checked: %s %s: no %s here\n", result.row.c_str(), bound.Quantity().c_str(),
                    column.c_str());
        ++tally->unchecked;
        return;
    }
    const double value =
        bound.other.empty() ? result.ValueOf(bound.column) : result.RatioOf(bound.column, bound.other);
    if (bound.Holds(value)) {
        ++tally->kept;
        return;
    }
    std::printf("BROKEN: %s %s is %.3g, must be %s %g\n", result.row.c_str(), bound.Quantity().c_str(), value,
                bound.at_least ? "at least" : "at most", bound.limit);
    ++tally->broken;
}

} // namespace

bool KeepsBounds(const std::string& file, const std::vector<Result>& results, bool complete)
{
    Tally tally;
    for (const Bound& bound : Load(file)) {
        bool used = false;
        for (const Result& result : results) {
            if (fnmatch(bound.rows.c_str(), result.row.c_str(), 0) != 0) continue;
            used = true;
            CheckRow(bound, result, &tally);
        }
        if (used) continue;
        ++(complete ? tally.broken : tally.unchecked);
        if (complete) std::printf("BROKEN: %s: no such row\n", bound.rows.c_str());
    }
    std::printf("bounds: %d kept, %d broken, %d not checked\n", tally.kept, tally.broken, tally.unchecked);
    return tally.broken == 0 && tally.kept > 0;
}

} // namespace bench
