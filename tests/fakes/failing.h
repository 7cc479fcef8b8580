// SPDX-License-Identifier: MIT
// failing.h - lets a call that the daemon makes of the platform or of the system fail, whichever it is. Every
// fake of a call that can fail asks.
#pragma once

// Counts down to the one that fails.
struct one_failure {
    void plan(int nth)
    {
        left = nth;
    }

    bool is_due()
    {
        if (left == 0)
            return false;
        left--;
        return left == 0;
    }

    // Whether it came to that; also ends the watch.
    bool happened()
    {
        bool failed = left == 0;
        left = 0;
        return failed;
    }

    int left = 0; // 0: none is planned, or it has happened
};

// The nth such call from now on of the thread that asked fails, once; 1 is the next.
void call_fails(int nth);

// Whether it came to that; also ends the watch.
bool call_failed();

// For the fakes.
bool call_is_to_fail();
