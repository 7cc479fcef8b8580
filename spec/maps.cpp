// SPDX-License-Identifier: MIT
#include "spec/maps.h"

#include "util/text.h"

static spec_pair through(const spec_pair &asked, spec_pair spec_alias::*from, spec_pair spec_alias::*to)
{
    for (const spec_alias &alias : spec_map) {
        if (asked == alias.*from)
            return alias.*to;
        if (asked.siid == (alias.*from).siid && (alias.*from).piid == 0)
            return { (alias.*to).siid, asked.piid };
    }
    return asked;
}

void spec_map_lookup(uint32_t siid, uint32_t piid, uint32_t *local_siid, uint32_t *local_piid)
{
    spec_pair found = through({ siid, piid }, &spec_alias::cloud, &spec_alias::local);
    *local_siid = found.siid;
    *local_piid = found.piid;
}

void spec_map_reverse_lookup(uint32_t siid, uint32_t piid, uint32_t *cloud_siid, uint32_t *cloud_piid)
{
    spec_pair found = through({ siid, piid }, &spec_alias::local, &spec_alias::cloud);
    *cloud_siid = found.siid;
    *cloud_piid = found.piid;
}

spec_pair selvar_spec_find(const char *key)
{
    for (const selvar_spec_row &row : selvar_spec_map)
        if (text_equal(row.key, key))
            return row.local;
    return { 0, 0 };
}
