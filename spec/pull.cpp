// SPDX-License-Identifier: MIT
#include "spec/pull.h"

#include "libkivo_util.h"
#include "libselvar_share.h"
#include "spec/cells.h"
#include "spec/service.h"
#include "util/growing_text.h"
#include "util/reply.h"
#include "util/send_text.h"

#include <iterator>

constexpr int request_line = 1517; // part of the log text

int32_t g_get_spec_id = -1;

// did goes out with at most 32 characters.
static bool add_element(growing_text &request, const char *did, spec_pair local)
{
    spec_pair cloud = {};
    spec_map_reverse_lookup(local.siid, local.piid, &cloud.siid, &cloud.piid);
    return growing_text_print(request, "{\"did\":\"%.32s\",\"siid\" : %d,\"piid\" : %d}", did,
                              static_cast<int>(cloud.siid), static_cast<int>(cloud.piid));
}

// False: memory ran out.
static bool make_request(int32_t id, const char *did, growing_text &request)
{
    if (!growing_text_print(
            request, "{\"id\" : %d,\"method\":\"_sync.spec_get_prop\",\"params\":{\"properties\":[", id))
        return false;
    for (size_t i = 0; i < std::size(sync_spec); i++) {
        bool last = i + 1 == std::size(sync_spec);
        if (!add_element(request, did, sync_spec[i]) || (!last && !growing_text_add(request, ",")))
            return false;
    }
    return growing_text_add(request, "]}}");
}

int get_param_from_spec_service(int32_t id)
{
    text_ptr did(libselvar_config_get(0, "nvram", "default", "did"));
    growing_text request;
    if (!make_request(id, did ? did.get() : "", request))
        return reply_no_memory(__func__);
    g_get_spec_id = id;
    log_debug("[%s][%d] %s\n", __func__, request_line, request.text.get());
    return send_text(spec_sock, request.text.get());
}

static void store_value(json_object *element, spec_request &request)
{
    const spec_property *row = spec_property_find(spec_take_entry(element, request));
    if (row && row->pull.filled)
        row->pull.run(*row, request);
}

void get_param_from_spec_service_parse(json_object *properties)
{
    spec_request request = { .id = 0 };
    size_t count = spec_element_count(properties);
    for (size_t i = 0; i < count; i++)
        store_value(json_object_array_get_idx(properties, i), request);
}
