#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Images/BitmapFile.h"
#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell {

// How far a document is: how many rows of the image stand in it, and all its rows.
using ExportProgress = std::function<void(std::uint64_t rows, std::uint64_t allRows)>;

// Desktop services of the suite's applications. Keeps no state; any thread.
//
// The session's login items are the applications that the system opens when the user logs in. An application
// is told by the URL of its bundle. Two items are at the same location when their URLs are equal as they were
// given ("/a/B.app" and "/a/B.app/" differ), and have the same name when their last path components are
// equal, upper and lower case being different. Each operation acts on the list as it finds it; changes that
// another process makes meanwhile are not guarded against.
class KITWELL_API CommonAuxiliary : public CEPInfoHolder {
public:
    static CommonAuxiliary& sharedInstance();

    // Lists the application at the end, unless it is listed at this location already, and takes out every
    // older copy: items of the same name at other locations. True when it is listed on return; false, and
    // nothing is changed, when the list is not available, and false when it could not be listed (the older
    // copies stay taken out).
    bool addAppToLoginItems(const platform::FileUrl& url);
    // Takes out every item of the same name, wherever it lies. False, and nothing is changed, only when the
    // list is not available.
    bool removeAppFromLoginItems(const platform::FileUrl& url);
    // Whether an item is at the same location; false when the list is not available.
    bool findAppInLoginItems(const platform::FileUrl& url);

    // The image's first representation, which must be a bitmap, is what is exported; without one, and on any
    // other failure, there is no data. The same image gives the same data.

    // A PDF document in which one pixel is one unit. `pageHeight` is in pixels: a higher image is cut into
    // pages of that height from the top, and a short last part stands at the top of its page; 0 gives one
    // page of the image's height. The pixels are kept exactly. `progress` is called on this thread.
    std::optional<platform::Data> dataForImageAsPDF(const platform::Image& image, std::uint64_t pageHeight,
                                                    const ExportProgress& progress = {});
    std::optional<platform::Data> dataForImage(const platform::Image& image, platform::BitmapFileType type);

    // Make the same data and write it to the file, not atomically: a file that stands there is overwritten in
    // place, and a failed write may leave a part. Where no data could be made, the file is not touched. False
    // when there is no data or it could not be written.
    bool saveImageAsPDF(const platform::Image& image, const std::string& filePath, std::uint64_t pageHeight,
                        const ExportProgress& progress = {});
    bool saveImage(const platform::Image& image, platform::BitmapFileType type, const std::string& filePath);

private:
    CommonAuxiliary() = default;
};

} // namespace kitwell
