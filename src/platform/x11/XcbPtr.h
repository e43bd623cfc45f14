#pragma once

#include <cstdlib>
#include <memory>

namespace x11 {

// XCB hands out replies and errors as malloc'd blocks that the caller frees.
struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};

template <class T> using XcbPtr = std::unique_ptr<T, FreeDeleter>;

} // namespace x11
