// The one guard of the C interface: every extern "C" entry point is a function-try-block ending
// in KESTRABEL_BOUNDARY, so no exception leaves the library. An exception becomes a status
// (kMediaFileErrMemory for an allocation failure, kMediaFileErrIO for anything else), or a null
// pointer or zero where the entry point returns one.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstddef>
#include <new>

namespace kestrabel {

inline MediaFileStatus statusOfCurrentException() noexcept
{
    try {
        throw;
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    } catch (...) {
        return kMediaFileErrIO;
    }
}

// Converts to whatever the entry point returns.
struct BoundaryFailure {
    operator MediaFileStatus() const noexcept { return statusOfCurrentException(); }
    operator size_t() const noexcept { return 0; }
    template <typename T>
    operator T *() const noexcept
    {
        return nullptr;
    }
};

} // namespace kestrabel

#define KESTRABEL_BOUNDARY                                                                                            \
    catch (...)                                                                                                      \
    {                                                                                                                \
        return ::kestrabel::BoundaryFailure();                                                                       \
    }
