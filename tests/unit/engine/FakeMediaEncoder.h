#pragma once

// A recording stand-in for libMediaEncoder's C interface, linked into the
// session's unit tests in place of the real library (the executable's own
// definitions win over the shared library's). It records every call with its
// arguments and answers with the statuses a test sets.

#include <cstdint>
#include <string>
#include <vector>

struct FakeEncoder {
    std::vector<std::string> calls;
    std::vector<std::vector<int32_t>> audioPushes; // the words of each pushed audio record
    int32_t setterStatus = 0;                      // every setter, SetOutputPath included
    int32_t limitStatus = 1;
    int32_t encodeStatus = 0;
    int32_t pushStatus = 0;
    int32_t closeStatus = 0;
    int isDonePollsBeforeDone = 0;
    int64_t encodedTimestamp = 0;
    int64_t fileSize = 0;

    void reset() { *this = FakeEncoder(); }
};

FakeEncoder& fakeEncoder();
