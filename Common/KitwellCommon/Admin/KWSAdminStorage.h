#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "KitwellCommon/Admin/KWSErrorCodes.h"
#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// Keys of the settings file. A boolean: whether the suite's updates are turned off.
inline constexpr char kKWSUpdatesDisabled[] = "UpdatesDisabled";
// An array of tool names, or the array of this one value; absent, there is no white list.
inline constexpr char kKWSWhiteToolsListKey[] = "WhiteToolsList";
inline constexpr char kKWSWhiteToolsList_BusinessToolsetValue[] = "business-toolset-only";

// A larger settings file is neither read nor written.
inline constexpr std::size_t kKWSMaxSettingsBytes = 16U << 20;

// The administrator's settings: a snapshot of the file, read once when the store is opened; changes reach the
// disk at saveToDisk only, and the last of several writers wins. A reader of the file never meets half of
// one, and JSON values that nobody set anew are written with the very digits they were read with. A file
// whose protection is weak (settingsProtectionFaults) is honoured all the same, and reported in the log: not
// reading it would lift what the administrator restricted. Nothing is raised; error codes are those of
// KWSErrorCodes.h. One thread at a time.
class KITWELL_API KWSAdminStorage : public CEPInfoHolder {
public:
    // Opens the file at KWSPathHelper::filePath(). With `creationFlag` 1 a missing or unreadable file gives
    // null, and the disk is never changed; with any other one an unreadable file is set aside under a backup
    // name and a new empty one is made, which needs the superuser's rights. Of several that find no
    // file one makes it and the others open that. `errorCode` is 0 with a store, else says why there is none.
    static std::unique_ptr<KWSAdminStorage> create(std::uint64_t creationFlag, std::int64_t& errorCode);

    // The stored value; nothing when there is none.
    std::optional<platform::Value> valueForKey(std::string_view key) const;
    // A boolean or number that is not zero; a text that begins, after white space, a sign and zeros, with Y,
    // y, T, t or a digit 1 to 9. Anything else is false.
    bool boolForKey(std::string_view key) const;
    // Nothing removes the key.
    void setValueForKey(std::optional<platform::Value> value, std::string_view key);
    void setBoolForKey(bool flag, std::string_view key);

    // 0, or why the file was not written; the file is then as it was.
    std::int64_t saveToDisk() const;

    // The content itself: it follows all later changes of the store.
    const platform::Dictionary& currentAsRawData() const { return storage_; }
    // Nothing empties the store.
    void resetToRawData(std::optional<platform::Dictionary> data);

    // ---- The steps of opening and saving, for any path.

    // The file's top-level object. `errorCode` becomes that of reading, or of parsing; -1 when the top level
    // is something else.
    static std::optional<platform::Dictionary> loadAtPath(const std::string& path, std::int64_t& errorCode);
    // Sets what stands at the path aside, makes an empty file for the administrators and answers its content.
    // What cannot be set aside is overwritten; a symlink in the folder's place is refused.
    static std::optional<platform::Dictionary> createAtPath(const std::string& path, std::int64_t& errorCode);
    // To "<path>.backup.<seconds since 1970>"; where something stands already, after a log line, to the next
    // free number. On failure a log line.
    static void moveToBackupThePath(const std::string& path);
    // Leaves `errorCode` alone on success.
    static std::optional<platform::Dictionary> dictFromData(std::span<const std::byte> bytes,
                                                            std::int64_t& errorCode);
    // Pretty-printed JSON; without line breaks where it would else exceed kKWSMaxSettingsBytes, so that what
    // was read can always be written. What exceeds them all the same is refused.
    static std::optional<platform::Data> dataFromDict(const platform::Dictionary& dictionary,
                                                      platform::Error& error);
    // Replaces the file in one step that keeps its mode and group; a new one gets mode 0644. A symlink at the
    // path or in its folder's place is refused. On failure false, why, and a log line.
    static bool saveToDiskAtPath(const std::string& path, const platform::Dictionary& storage,
                                 platform::Error& error);

private:
    static std::optional<platform::Dictionary> createMissing(const std::string& path,
                                                             std::int64_t& errorCode);

    explicit KWSAdminStorage(platform::Dictionary storage) : storage_(std::move(storage)) {}

    platform::Dictionary storage_;
};

} // namespace kitwell
