#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// Gives each object of a class of the framework a place for what the application has to say of it in
// telemetry. It goes with the object: a copy of the object begins without. Not to be set from two threads at
// once.
class CEPInfoHolder {
public:
    std::optional<platform::Dictionary> CEPInfo() const {
        return info_ ? std::optional(*info_) : std::nullopt;
    }
    // Keeps a copy; nothing removes what was kept.
    void setCEPInfo(std::optional<platform::Dictionary> info) {
        info_ = info ? std::make_unique<platform::Dictionary>(*std::move(info)) : nullptr;
    }

protected:
    CEPInfoHolder() = default;
    CEPInfoHolder(const CEPInfoHolder&) {}
    CEPInfoHolder(CEPInfoHolder&&) noexcept = default;
    CEPInfoHolder& operator=(const CEPInfoHolder&) { return *this; }
    CEPInfoHolder& operator=(CEPInfoHolder&&) noexcept = default;
    ~CEPInfoHolder() = default;

private:
    std::unique_ptr<platform::Dictionary> info_;
};

} // namespace kitwell
