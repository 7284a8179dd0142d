#include "KitwellCommon/Admin/ToolCatalogue.h"

namespace kitwell {

namespace {

constexpr std::string_view kAllTools[] = {
    "com.corvalen.kitwell.AmbientSound",
    "com.corvalen.kitwell.BatteryWatch",
    "com.corvalen.kitwell.Clipboard",
    "com.corvalen.kitwell.Clock",
    "com.corvalen.kitwell.ColourPicker",
    "com.corvalen.kitwell.Counter",
    "com.corvalen.kitwell.Countdown",
    "com.corvalen.kitwell.DiskSpace",
    "com.corvalen.kitwell.DuplicateFinder",
    "com.corvalen.kitwell.EjectDisks",
    "com.corvalen.kitwell.FileCompare",
    "com.corvalen.kitwell.FolderSize",
    "com.corvalen.kitwell.KeepAwake",
    "com.corvalen.kitwell.KeyCaps",
    "com.corvalen.kitwell.MicrophoneMute",
    "com.corvalen.kitwell.MonitorBrightness",
    "com.corvalen.kitwell.MoonPhase",
    "com.corvalen.kitwell.NetworkMeter",
    "com.corvalen.kitwell.Notes",
    "com.corvalen.kitwell.PageSnap",
    "com.corvalen.kitwell.PasswordMaker",
    "com.corvalen.kitwell.PhotoFrame",
    "com.corvalen.kitwell.QrCode",
    "com.corvalen.kitwell.RadioTuner",
    "com.corvalen.kitwell.Rename",
    "com.corvalen.kitwell.ScreenRuler",
    "com.corvalen.kitwell.TextCleaner",
    "com.corvalen.kitwell.TrashTimer",
    "com.corvalen.kitwell.UnitConverter",
    "com.corvalen.kitwell.VideoFetch",
    "com.corvalen.kitwell.WallpaperChanger",
    "com.corvalen.kitwell.WorldClock",
};

constexpr std::string_view kWithoutBusinessUse[] = {
    "com.corvalen.kitwell.AmbientSound", "com.corvalen.kitwell.MoonPhase",
    "com.corvalen.kitwell.PhotoFrame",   "com.corvalen.kitwell.RadioTuner",
    "com.corvalen.kitwell.VideoFetch",   "com.corvalen.kitwell.WallpaperChanger",
};

} // namespace

std::span<const std::string_view> toolCatalogue() {
    return kAllTools;
}

std::span<const std::string_view> toolsWithoutBusinessUse() {
    return kWithoutBusinessUse;
}

} // namespace kitwell
