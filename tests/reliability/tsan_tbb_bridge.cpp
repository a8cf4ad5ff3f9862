// Makes oneTBB's synchronisation visible to ThreadSanitizer when the oneTBB
// library itself is not built with it (Debian's is not).
//
// ThreadSanitizer sees only instrumented code. The task hand-over inside
// libtbb (spawning, stealing, waiting, the recycling of task memory) is not
// instrumented, so without help every parallel loop looks like a race between
// the thread that prepared the work and the thread that ran it. oneTBB
// reports exactly these hand-overs to profiling tools through its ITT
// interface: the headers, compiled with TBB_USE_PROFILING_TOOLS=2, announce
// "releasing" a task when it is spawned and "acquired" when a wait returns,
// and the library announces its own lock and queue hand-overs. This library
// is such a tool: it turns "releasing" into __tsan_release and "acquired"
// into __tsan_acquire on the same address, so a race is reported only where
// no oneTBB hand-over orders the two accesses. Two more edges are added
// here, both of which oneTBB makes with atomics inside the library: a block
// of task memory freed on one thread and handed out again on another (tsan
// knows this edge for malloc and free, not for oneTBB's small-object pool),
// and the last decrement of a wait object's count before the waiter returns
// (the waiter reads the count inside libtbb; the header announces the
// release before that decrement, so without the edge the decrement races
// with whatever later reuses the waiter's stack).
//
// Linked into the test programs of the tsan build. Its constructor points
// oneTBB's ITT loader at this library before oneTBB starts.

#include <dlfcn.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <oneapi/tbb/detail/_small_object_pool.h>
#include <oneapi/tbb/detail/_task.h>

extern "C" {
void __tsan_acquire(void* addr);
void __tsan_release(void* addr);
}

#define ZELKOV_BRIDGE_EXPORT extern "C" __attribute__((visibility("default")))

// ---------------------------------------------------------------- the ITT collector
//
// Version 1 of the collector interface: the loader looks each function up by
// name. The whole synchronisation group is defined, as the loader drops a
// group with a missing member.

extern "C" {
__attribute__((visibility("default"))) int __itt_api_version = 1;
}
ZELKOV_BRIDGE_EXPORT void __itt_sync_create(void*, const char*, const char*, int) {}
ZELKOV_BRIDGE_EXPORT void __itt_sync_rename(void*, const char*) {}
ZELKOV_BRIDGE_EXPORT void __itt_sync_destroy(void*) {}
ZELKOV_BRIDGE_EXPORT void __itt_sync_prepare(void*) {}
ZELKOV_BRIDGE_EXPORT void __itt_sync_cancel(void*) {}
ZELKOV_BRIDGE_EXPORT void __itt_sync_acquired(void* p) { __tsan_acquire(p); }
ZELKOV_BRIDGE_EXPORT void __itt_sync_releasing(void* p) { __tsan_release(p); }

namespace {

/// Tells oneTBB's ITT loader to load this library (found by the address of
/// one of its functions) for the synchronisation group, unless the
/// environment already names a tool.
__attribute__((constructor)) void point_oneTBB_here()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&__itt_sync_acquired), &info) != 0 && info.dli_fname != nullptr)
        setenv("INTEL_LIBITTNOTIFY64", info.dli_fname, 0);
    setenv("INTEL_ITTNOTIFY_GROUPS", "sync", 0);
}

/// The next definition of `name` after this library: oneTBB's own.
template <class F>
F next(const char* name)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// ---------------------------------------------------------------- task memory
//
// Interposes oneTBB's small-object pool: the thread that frees a block
// releases it, the thread that gets it next acquires it.

namespace tbb::detail::r1 {

void* allocate(d1::small_object_pool*& pool, std::size_t size)
{
    using real_t = void* (*)(d1::small_object_pool*&, std::size_t);
    static const auto real = next<real_t>("_ZN3tbb6detail2r18allocateERPNS0_2d117small_object_poolEm");
    void* p = real(pool, size);
    __tsan_acquire(p);
    return p;
}

void* allocate(d1::small_object_pool*& pool, std::size_t size, const d1::execution_data& ed)
{
    using real_t = void* (*)(d1::small_object_pool*&, std::size_t, const d1::execution_data&);
    static const auto real =
        next<real_t>("_ZN3tbb6detail2r18allocateERPNS0_2d117small_object_poolEmRKNS2_14execution_dataE");
    void* p = real(pool, size, ed);
    __tsan_acquire(p);
    return p;
}

void deallocate(d1::small_object_pool& pool, void* p, std::size_t size)
{
    using real_t = void (*)(d1::small_object_pool&, void*, std::size_t);
    static const auto real = next<real_t>("_ZN3tbb6detail2r110deallocateERNS0_2d117small_object_poolEPvm");
    __tsan_release(p);
    real(pool, p, size);
}

void deallocate(d1::small_object_pool& pool, void* p, std::size_t size, const d1::execution_data& ed)
{
    using real_t = void (*)(d1::small_object_pool&, void*, std::size_t, const d1::execution_data&);
    static const auto real =
        next<real_t>("_ZN3tbb6detail2r110deallocateERNS0_2d117small_object_poolEPvmRKNS2_14execution_dataE");
    __tsan_release(p);
    real(pool, p, size, ed);
}

// ---------------------------------------------------------------- waiting
//
// A wait returns when the count of its wait object has dropped to zero; the
// worker's decrement of the count is an atomic write that the waiter then
// acquires.

namespace {

// The count follows one 64-bit word of version and traits.
static_assert(sizeof(d1::wait_context) == 2 * sizeof(std::uint64_t));

void acquire_count(d1::wait_context& wait) { __tsan_acquire(reinterpret_cast<char*>(&wait) + sizeof(std::uint64_t)); }

}  // namespace

void execute_and_wait(d1::task& t, d1::task_group_context& t_ctx, d1::wait_context& wait, d1::task_group_context& w_ctx)
{
    using real_t = void (*)(d1::task&, d1::task_group_context&, d1::wait_context&, d1::task_group_context&);
    static const auto real = next<real_t>(
        "_ZN3tbb6detail2r116execute_and_waitERNS0_2d14taskERNS2_18task_group_contextERNS2_12wait_contextES6_");
    real(t, t_ctx, wait, w_ctx);
    acquire_count(wait);
}

void wait(d1::wait_context& wait, d1::task_group_context& ctx)
{
    using real_t = void (*)(d1::wait_context&, d1::task_group_context&);
    static const auto real = next<real_t>("_ZN3tbb6detail2r14waitERNS0_2d112wait_contextERNS2_18task_group_contextE");
    real(wait, ctx);
    acquire_count(wait);
}

}  // namespace tbb::detail::r1
