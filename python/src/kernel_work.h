#pragma once
// How the module runs kernel work: without the GIL, one call at a time.
//
// The kernel takes no locks: it numbers every entity it creates from one unguarded counter,
// and a mesh or an algorithm object must not be used from two threads at once. The module
// releases the GIL during long computations so that other Python threads go on meanwhile,
// and serialises the kernel work itself with one process-wide lock. The lock is only ever
// taken after the GIL has been released, never the other way round, so that a callback
// that needs the GIL while the lock is held (the voxelizer's progress) cannot deadlock with a
// thread that waits for the lock.
//
// Inside a KernelWork scope no Python object may be created, changed or released. Python code
// that runs while the lock is held (a progress callback) cannot start kernel work of its own:
// that raises RuntimeError instead of waiting for itself.
#include <pybind11/pybind11.h>

#include <mutex>
#include <stdexcept>

namespace orvane::python {

std::mutex &kernelLock();

class KernelWork {
public:
    KernelWork() : lock_(kernelLock()) {}
    KernelWork(KernelWork const &) = delete;
    KernelWork &operator=(KernelWork const &) = delete;

private:
    // Marks the thread as doing kernel work; refuses to when it already is.
    class Entry {
    public:
        Entry() {
            if (inside()) throw std::runtime_error("orvane functions cannot be called from a progress callback");
            inside() = true;
        }
        ~Entry() { inside() = false; }
        Entry(Entry const &) = delete;
        Entry &operator=(Entry const &) = delete;

    private:
        static bool &inside() {
            thread_local bool flag = false;
            return flag;
        }
    };

    // In this order: the check, then the GIL released, then the lock taken (and back again).
    Entry entry_;
    pybind11::gil_scoped_release release_;
    std::unique_lock<std::mutex> lock_;
};

}  // namespace orvane::python
