// SPDX-License-Identifier: MIT
// requests.h - what the service does for each kind of request.
#pragma once

#include "store/clients.h"

// Serves one request: does it, answers it, notifies. False: no client says this; it is to be dropped.
bool requests_serve(client &sender, const wire_message &request);
