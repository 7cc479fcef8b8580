// SPDX-License-Identifier: MIT
#include "fakes/failing.h"

// Of one thread, so that nobody else's calls count.
static thread_local int left = 0;

void call_fails(int nth)
{
    left = nth;
}

bool call_failed()
{
    bool failed = left == 0;
    left = 0;
    return failed;
}

bool call_is_to_fail()
{
    if (left == 0)
        return false;
    left--;
    return left == 0;
}
