// SPDX-License-Identifier: MIT
#include "fakes/memory.h"
#include "fakes/failing.h"

#include <dlfcn.h>
#include <json-c/json.h>

#include <cerrno>
#include <cstddef>

// Of one thread, so that nobody else's allocations count.
static thread_local one_failure failure;

void allocation_fails(int nth)
{
    failure.plan(nth);
}

bool allocation_failed()
{
    return failure.happened();
}

static bool refused()
{
    if (!failure.is_due())
        return false;
    errno = ENOMEM;
    return true;
}

template <typename function> static function *real(const char *name)
{
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

extern "C" {

// The linker leads every malloc and realloc of the program's own objects here; the shared libraries keep
// theirs.
void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size);

void *__wrap_malloc(size_t size)
{
    return refused() ? nullptr : __real_malloc(size);
}

void *__real_realloc(void *old, size_t size);
void *__wrap_realloc(void *old, size_t size);

void *__wrap_realloc(void *old, size_t size)
{
    return refused() ? nullptr : __real_realloc(old, size);
}

// json-c's own allocations are left alone: 0.16 does not outlive all of them (it goes on with a NULL where
// the copy of a member's name should be). That its parser finds no memory is a call that fails.
json_tokener *json_tokener_new(void)
{
    static auto *const make = real<json_tokener *()>("json_tokener_new");
    return call_is_to_fail() ? nullptr : make();
}

json_object *json_tokener_parse(const char *text)
{
    static auto *const parse = real<json_object *(const char *)>("json_tokener_parse");
    return call_is_to_fail() ? nullptr : parse(text);
}

json_object *json_tokener_parse_ex(json_tokener *tokener, const char *text, int length)
{
    static auto *const parse =
        real<json_object *(json_tokener *, const char *, int)>("json_tokener_parse_ex");
    return call_is_to_fail() ? nullptr : parse(tokener, text, length);
}

json_object *json_object_new_object(void)
{
    static auto *const make = real<json_object *()>("json_object_new_object");
    return refused() ? nullptr : make();
}

json_object *json_object_new_array(void)
{
    static auto *const make = real<json_object *()>("json_object_new_array");
    return refused() ? nullptr : make();
}

json_object *json_object_new_string(const char *text)
{
    static auto *const make = real<json_object *(const char *)>("json_object_new_string");
    return refused() ? nullptr : make(text);
}

json_object *json_object_new_int(int32_t number)
{
    static auto *const make = real<json_object *(int32_t)>("json_object_new_int");
    return refused() ? nullptr : make(number);
}

json_object *json_object_new_int64(int64_t number)
{
    static auto *const make = real<json_object *(int64_t)>("json_object_new_int64");
    return refused() ? nullptr : make(number);
}

json_object *json_object_new_double(double number)
{
    static auto *const make = real<json_object *(double)>("json_object_new_double");
    return refused() ? nullptr : make(number);
}

int json_object_object_add(json_object *object, const char *key, json_object *value)
{
    static auto *const add = real<int(json_object *, const char *, json_object *)>("json_object_object_add");
    return refused() ? -1 : add(object, key, value);
}

int json_object_array_add(json_object *array, json_object *value)
{
    static auto *const add = real<int(json_object *, json_object *)>("json_object_array_add");
    return refused() ? -1 : add(array, value);
}

const char *json_object_to_json_string_ext(json_object *object, int flags)
{
    static auto *const render = real<const char *(json_object *, int)>("json_object_to_json_string_ext");
    return refused() ? nullptr : render(object, flags);
}

} // extern "C"
