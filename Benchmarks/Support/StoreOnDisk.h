#pragma once

#include <functional>
#include <string>

#include "KitwellPlatform/Values/Value.h"

namespace kitwell::benchmarks {

// A suite's preferences in a private home folder, and a copy of them that is changed by hand. The home is
// made inside the current folder, which should stand on a disk: in memory there is nothing to bring there.
// Removed with the object.
class StoreOnDisk {
public:
    using Change = std::function<void(platform::Dictionary& content)>;

    // Both begin with `content`.
    StoreOnDisk(std::string suite, const platform::Dictionary& content);
    ~StoreOnDisk();
    StoreOnDisk(const StoreOnDisk&) = delete;
    StoreOnDisk& operator=(const StoreOnDisk&) = delete;

    const std::string& container() const { return container_; }

    // Measures `update`, one locked and durable change of the suite's preferences, beside `change` in the
    // same steps by raw calls on the copy. Prints the row and answers whether the budget was kept.
    bool compareUpdates(const std::string& work, const Change& change,
                        const std::function<void()>& update) const;

private:
    void updateByHand(const Change& change) const;

    std::string suite_;
    std::string home_;
    std::string container_;
    std::string copyFolder_;
};

} // namespace kitwell::benchmarks
