#pragma once
// The newest samples of one per-interval quantity: a fixed number of slots,
// written in turn, the oldest overwritten once all are filled.

#include <cstdint>
#include <new>
#include <vector>

namespace mqqoe {

class SampleRing {
public:
    // `capacity` zeroed slots; false (and no slots) when it is below one or
    // the memory is not there.
    [[nodiscard]] bool allocate(int32_t capacity) {
        clear();
        if (capacity < 1) return false;
        try {
            mSlots.assign(static_cast<size_t>(capacity), 0);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }
    void clear() {
        std::vector<int32_t>().swap(mSlots);
        mFilled = 0;
        mWriteIndex = 0;
    }

    bool allocated() const { return !mSlots.empty(); }
    int32_t capacity() const { return static_cast<int32_t>(mSlots.size()); }
    int32_t filled() const { return mFilled; }
    // Slot `i` in storage order (not age order).
    int32_t at(int32_t i) const { return mSlots[static_cast<size_t>(i)]; }

    void push(int32_t value) {
        mSlots[static_cast<size_t>(mWriteIndex)] = value;
        if (++mWriteIndex >= capacity()) mWriteIndex = 0;
        if (mFilled < capacity()) ++mFilled;
    }
    // The sum of the newest `count` samples (at most every slot), 64-bit so
    // that no run of reports can overflow it.
    int64_t sumNewest(int32_t count) const {
        int64_t sum = 0;
        int32_t slot = mWriteIndex;
        for (int32_t i = 0; i < count && i < capacity(); ++i) {
            slot = slot == 0 ? capacity() - 1 : slot - 1;
            sum += at(slot);
        }
        return sum;
    }

private:
    std::vector<int32_t> mSlots;
    int32_t mFilled = 0;
    int32_t mWriteIndex = 0;
};

}  // namespace mqqoe
