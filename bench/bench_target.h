#pragma once
// One measured row with its target, in the form `./ke2 bench` collects for its closing summary:
//   TARGET | what | measured | target | met / NOT met
#include <cstdio>

namespace ke2bench {

inline bool TargetRow(const char *what, double measured, const char *unit, const char *target, bool met)
{
    std::printf("TARGET | %-62s | %10.2f %-3s | %-12s | %s\n", what, measured, unit, target, met ? "met" : "NOT met");
    std::fflush(stdout);
    return met;
}

// A row below a limit: met when measured < limit.
inline bool BelowRow(const char *what, double measured, const char *unit, double limit)
{
    char target[32];
    std::snprintf(target, sizeof(target), "< %g %s", limit, unit);
    return TargetRow(what, measured, unit, target, measured < limit);
}

} // namespace ke2bench
