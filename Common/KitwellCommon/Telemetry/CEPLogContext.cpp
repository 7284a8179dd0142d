#include "KitwellCommon/Telemetry/CEPLogContext.h"

#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/Machine.h"
#include "KitwellPlatform/Values/NeverDestroyed.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

namespace {

constexpr std::size_t kMaxIdentifierSize = 63;
constexpr std::size_t kMaxPathSize = 1023;
constexpr std::string_view kLongestName = "/cvl.kitwell.ceplog-more.xml";
constexpr char kAbsentText[] = "(null)"; // what a version text shows for a part that its bundle lacks

CEPLogContext& context() {
    static platform::NeverDestroyed<CEPLogContext> instance;
    return *instance;
}

std::string logFolder() {
    std::string library = platform::SearchPaths::userLibrary();
    if (library.ends_with('/'))
        library.pop_back();
    return library + "/Logs";
}

std::string textUnder(std::string_view key, const platform::Bundle& bundle) {
    const std::string* text = bundle.infoDictionary().findText(key);
    return text ? *text : kAbsentText;
}

void setPaths(const std::string& folder) {
    context().activeLogPath = folder + "/cvl.kitwell.ceplog.xml";
    context().legacyLogPath = folder + "/ceplog.xml";
    context().sealedLogPath = folder + std::string(kLongestName);
}

void setIdentity(const platform::Bundle& bundle) {
    const std::string identifier = bundle.identifier();
    if (!identifier.empty())
        context().toolIdentifier = identifier;
    context().toolLocation = bundle.bundleUrl().path();
    context().toolVersion = platform::formatText("%@-%@", textUnder("CFBundleShortVersionString", bundle),
                                                 textUnder("CFBundleVersion", bundle));
}

} // namespace

std::int32_t CEPLogInit() {
    context() = {};
    context().hardwareUUID = platform::Machine::platformUUID().substr(0, kMaxIdentifierSize);
    context().locale = platform::Machine::localeIdentifier();
    const std::string folder = logFolder();
    if (folder.size() + kLongestName.size() > kMaxPathSize || !platform::FileManager::createFolder(folder))
        return kCEPErrorNoLogFolder;
    setPaths(folder);
    if (platform::SearchPaths::mainBundleFolder())
        setIdentity(platform::Bundle::main());
    return 0;
}

const CEPLogContext& cepLogContext() {
    return context();
}

} // namespace kitwell
