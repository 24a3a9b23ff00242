// SPDX-License-Identifier: GPL-3.0-or-later
// SICL with the entries that the program calls.

#include "fake_calls.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {
FakeScript script;
char errorText[] = "This error text is a good deal longer than the sixty characters that are shown of it";

template <typename... Values>
void note(const char* format, Values... values)
{
    const size_t used = std::strlen(script.calls);
    std::snprintf(script.calls + used, sizeof script.calls - used, format, values...);
    ++script.callCount;
    script.lastError = script.callCount == script.errorAtCall ? script.errorNumber : 0;
}
} // namespace

extern "C" {
FakeScript* fakeScript();
int iopen(char* address);
int itimeout(int session, long milliseconds);
int iprintf(int session, const char* format, ...);
int iscanf(int session, const char* format, ...);
int igeterrno();
char* igeterrstr(int error);
void icauseerr(int session, int error, int flag);

FakeScript* fakeScript()
{
    return &script;
}

int iopen(char* address)
{
    note("iopen %s\n", address);
    return 5;
}

int itimeout(int session, long milliseconds)
{
    note("itimeout %d %ld\n", session, milliseconds);
    return 0;
}

int iprintf(int session, const char* format, ...)
{
    note("iprintf %d [%s]\n", session, format);
    return 0;
}

int iscanf(int session, const char* format, ...)
{
    note("iscanf %d %s\n", session, format);
    va_list arguments;
    va_start(arguments, format);
    char* buffer = va_arg(arguments, char*);
    va_end(arguments);
    std::memcpy(buffer, script.reply, static_cast<size_t>(script.replyLength));
    return 1;
}

int igeterrno()
{
    return script.lastError;
}

char* igeterrstr(int)
{
    return errorText;
}

void icauseerr(int, int, int) {}
}
