/// @file
/// Memory that runs out at a chosen moment.
#pragma once

namespace kq::test {

/// While it lives, one allocation of the thread that made it fails: by operator new in the test program and
/// in all libraries that it loads, by malloc() or calloc() in what is linked into the program itself. The
/// forms of new that throw throw std::bad_alloc, everything else returns null. One at a time on a thread;
/// other threads are not touched.
///
/// Link kq_test_failing_allocation to have it; it replaces the program's operator new and delete.
class FailingAllocation {
public:
    /// @param nth the allocation that fails, counted from 1; 0: none, they are only counted
    explicit FailingAllocation(int nth);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// @return whether the allocation was asked for, and failed
    bool HasFailed() const;
    /// @return the allocations of this thread so far, the failed one included
    int Count() const;

private:
    const int m_nth;
};

/// Makes a call again and again: its first allocation fails, then its second, and so on until one call asks
/// for less than that and has all it wants.
/// @param call  what is tested; an exception that leaves it goes on to the caller
/// @param check called with the result and whether an allocation had failed, when memory is to be had again
/// @return how many allocations failed, one a call
template <class Call, class Check>
int FailEachAllocation(Call call, Check check) {
    for (int nth = 1;; ++nth) {
        bool hasFailed = false;
        auto result = [&] {
            const FailingAllocation failing(nth);
            auto value = call();
            hasFailed = failing.HasFailed();
            return value;
        }();
        check(result, hasFailed);
        if (!hasFailed) {
            return nth - 1;
        }
    }
}

} // namespace kq::test
