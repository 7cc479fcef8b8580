// SPDX-License-Identifier: MIT
#include "core/camwarden.h"

int main()
{
    return camwarden_main();
}
