#include <climits>
#include <expat.h>
#include <memory>

#include "KitwellPlatform/Values/Xml.h"

namespace kitwell::platform {

namespace {

// Hands the parser's events on; the first fault stops it.
class Reader {
public:
    explicit Reader(const XmlEvents& events) : events_(events), parser_(XML_ParserCreate("UTF-8")) {
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), &Reader::elementBegan, &Reader::elementEnded);
        XML_SetCharacterDataHandler(parser_.get(), &Reader::charactersCame);
        XML_SetEntityDeclHandler(parser_.get(), &Reader::entityDeclared);
    }

    Result<void> read(std::string_view document) {
        if (document.size() > INT_MAX)
            return fault("larger than can be read");
        const auto status =
            XML_Parse(parser_.get(), document.data(), static_cast<int>(document.size()), XML_TRUE);
        if (declaresEntities_)
            return fault("declares entities of its own");
        return status == XML_STATUS_OK ? Result<void>()
                                       : fault(XML_ErrorString(XML_GetErrorCode(parser_.get())));
    }

private:
    static void elementBegan(void* self, const XML_Char* name, const XML_Char** attributes) {
        auto& reader = *static_cast<Reader*>(self);
        if (!reader.events_.elementBegan)
            return;
        XmlElement element{name, {}, XML_GetCurrentLineNumber(reader.parser_.get())};
        for (; *attributes; attributes += 2)
            element.attributes.emplace_back(attributes[0], attributes[1]);
        reader.events_.elementBegan(element);
    }
    static void elementEnded(void* self, const XML_Char* name) {
        const auto& events = static_cast<Reader*>(self)->events_;
        if (events.elementEnded)
            events.elementEnded(name);
    }
    static void charactersCame(void* self, const XML_Char* characters, int count) {
        const auto& events = static_cast<Reader*>(self)->events_;
        if (events.characters)
            events.characters({characters, static_cast<std::size_t>(count)});
    }
    // Such entities could unfold without bound.
    static void entityDeclared(void* self, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                               const XML_Char*, const XML_Char*, const XML_Char*) {
        auto& reader = *static_cast<Reader*>(self);
        reader.declaresEntities_ = true;
        XML_StopParser(reader.parser_.get(), XML_FALSE);
    }

    Error fault(std::string_view what) const {
        const auto line = XML_GetCurrentLineNumber(parser_.get());
        const auto column = XML_GetCurrentColumnNumber(parser_.get()) + 1;
        return {"xml", static_cast<std::int64_t>(line),
                std::string(what) + " at line " + std::to_string(line) + ", column " +
                    std::to_string(column)};
    }

    struct FreeParser {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    const XmlEvents& events_;
    std::unique_ptr<XML_ParserStruct, FreeParser> parser_;
    bool declaresEntities_ = false;
};

} // namespace

std::string_view XmlElement::attribute(std::string_view attributeName) const {
    for (const auto& [key, value] : attributes) {
        if (key == attributeName)
            return value;
    }
    return {};
}

Result<void> readXml(std::string_view document, const XmlEvents& events) {
    return Reader(events).read(document);
}

} // namespace kitwell::platform
