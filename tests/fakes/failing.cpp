// SPDX-License-Identifier: MIT
#include "fakes/failing.h"

// Of one thread, so that nobody else's calls count.
static thread_local one_failure failure;

void call_fails(int nth)
{
    failure.plan(nth);
}

bool call_failed()
{
    return failure.happened();
}

bool call_is_to_fail()
{
    return failure.is_due();
}
