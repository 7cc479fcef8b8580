// SPDX-License-Identifier: MIT
#include "fakes/record.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

struct entry {
    bool is_call;
    std::string text;
};

static std::mutex mutex;
static std::condition_variable added;
static std::vector<entry> entries;

static std::string formatted(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

static std::string formatted(const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    // NOLINTBEGIN(clang-analyzer-valist.Uninitialized): the callers have started it
    int length = vsnprintf(nullptr, 0, format, arguments);
    std::string text(length < 0 ? 0U : static_cast<size_t>(length), '\0');
    vsnprintf(text.data(), text.size() + 1, format, again);
    // NOLINTEND(clang-analyzer-valist.Uninitialized)
    va_end(again);
    return text;
}

static void add(bool is_call, std::string text)
{
    std::lock_guard<std::mutex> lock(mutex);
    entries.push_back({ is_call, std::move(text) });
    added.notify_all();
}

void record_clear()
{
    std::lock_guard<std::mutex> lock(mutex);
    entries.clear();
}

void record_call(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::string text = formatted(format, arguments);
    va_end(arguments);
    add(true, std::move(text));
}

void record_log(const char *level, const char *format, va_list arguments)
{
    add(false, std::string(level) + ": " + formatted(format, arguments));
}

template <typename condition> static texts those(condition wanted)
{
    std::lock_guard<std::mutex> lock(mutex);
    texts result;
    for (const entry &each : entries)
        if (wanted(each))
            result.push_back(each.text);
    return result;
}

texts calls()
{
    return those([](const entry &each) { return each.is_call; });
}

texts calls_of(std::string_view function)
{
    std::string begin = std::string(function) + "(";
    return those([&](const entry &each) { return each.is_call && each.text.starts_with(begin); });
}

texts log_lines()
{
    return those([](const entry &each) { return !each.is_call; });
}

texts story()
{
    return those([](const entry &) { return true; });
}

std::string quoted(const char *text)
{
    return text == nullptr ? "null" : '"' + std::string(text) + '"';
}

static testing::AssertionResult failure(std::string_view what, std::string_view wanted)
{
    testing::AssertionResult result = testing::AssertionFailure();
    result << what << " \"" << wanted << "\"; what happened:\n";
    for (const std::string &line : story())
        result << "  " << line << (line.ends_with('\n') ? "" : "\n");
    return result;
}

static bool contains(const texts &list, std::string_view wanted)
{
    return std::find(list.begin(), list.end(), wanted) != list.end();
}

testing::AssertionResult logged(std::string_view line)
{
    return contains(log_lines(), line) ? testing::AssertionSuccess() : failure("not logged:", line);
}

testing::AssertionResult log_mentions(std::string_view part)
{
    for (const std::string &line : log_lines())
        if (line.find(part) != std::string::npos)
            return testing::AssertionSuccess();
    return failure("no log line with", part);
}

testing::AssertionResult called(std::string_view call)
{
    return contains(calls(), call) ? testing::AssertionSuccess() : failure("not called:", call);
}

testing::AssertionResult soon(std::string_view line)
{
    std::unique_lock<std::mutex> lock(mutex);
    auto has_come = [&] {
        return std::any_of(entries.begin(), entries.end(),
                           [&](const entry &each) { return each.text == line; });
    };
    bool came = added.wait_for(lock, std::chrono::seconds(10), has_come);
    lock.unlock();
    return came ? testing::AssertionSuccess() : failure("still missing:", line);
}

testing::AssertionResult in_order(const texts &expected)
{
    const texts all = story();
    auto from = all.begin();
    for (const std::string &wanted : expected) {
        auto found = std::find(from, all.end(), wanted);
        if (found == all.end())
            return failure("missing, or too early:", wanted);
        from = found + 1;
    }
    return testing::AssertionSuccess();
}
