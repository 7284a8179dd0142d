#include <expat.h>
#include <memory>

#include "KitwellPlatform/Values/PropertyListReaders.h"

namespace kitwell::platform {

namespace {

enum class Element { PropertyList, Dictionary, Key, Array, Text, Integer, Real, Date, Data, True, False };

std::optional<Element> elementNamed(std::string_view name) {
    static constexpr std::pair<std::string_view, Element> kElements[] = {
        {"plist", Element::PropertyList}, {"dict", Element::Dictionary}, {"key", Element::Key},
        {"array", Element::Array},        {"string", Element::Text},     {"integer", Element::Integer},
        {"real", Element::Real},          {"date", Element::Date},       {"data", Element::Data},
        {"true", Element::True},          {"false", Element::False},
    };
    for (const auto& [known, element] : kElements) {
        if (known == name)
            return element;
    }
    return std::nullopt;
}

bool isAllSpace(std::string_view characters) {
    for (const char character : characters) {
        if (!isXmlSpace(character))
            return false;
    }
    return true;
}

std::optional<Value> truthFromXml(bool truth, std::string_view characters) {
    return isAllSpace(characters) ? std::optional(Value(truth)) : std::nullopt;
}

std::optional<Value> scalarFromXml(Element element, std::string_view characters) {
    switch (element) {
    case Element::Integer:
        return integerFromXml(characters);
    case Element::Real:
        return realFromXml(characters);
    case Element::Date:
        return dateFromXml(characters);
    case Element::Data:
        return dataFromXml(characters);
    case Element::True:
        return truthFromXml(true, characters);
    case Element::False:
        return truthFromXml(false, characters);
    default:
        return Value(characters);
    }
}

// Builds the value from the parser's events; open containers stand on a stack of the reader's own. The first
// fault stops the parser.
class Reader {
public:
    Reader() : parser_(XML_ParserCreate(nullptr)) {
        XML_Parser parser = parser_.get();
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, &Reader::elementBegan, &Reader::elementEnded);
        XML_SetCharacterDataHandler(parser, &Reader::charactersCame);
        XML_SetStartDoctypeDeclHandler(parser, &Reader::documentTypeCame);
        XML_SetSkippedEntityHandler(parser, &Reader::entityCame);
    }

    Result<Value> read(std::span<const std::byte> bytes) {
        const auto status = XML_Parse(parser_.get(), reinterpret_cast<const char*>(bytes.data()),
                                      static_cast<int>(bytes.size()), XML_TRUE);
        if (error_)
            return *std::move(error_);
        if (status != XML_STATUS_OK)
            return propertyListError(position(), XML_ErrorString(XML_GetErrorCode(parser_.get())));
        return std::move(root_);
    }

private:
    struct Container {
        Value value;
        std::optional<std::string> key; // a dictionary's key whose value has not come yet
    };

    static void elementBegan(void* reader, const XML_Char* name, const XML_Char**) {
        static_cast<Reader*>(reader)->begin(name);
    }
    static void elementEnded(void* reader, const XML_Char*) { static_cast<Reader*>(reader)->end(); }
    static void charactersCame(void* reader, const XML_Char* characters, int count) {
        static_cast<Reader*>(reader)->take({characters, static_cast<std::size_t>(count)});
    }
    // A document type with declarations of its own could define entities that unfold without bound.
    static void documentTypeCame(void* reader, const XML_Char*, const XML_Char*, const XML_Char*,
                                 int hasDeclarations) {
        if (hasDeclarations != 0)
            static_cast<Reader*>(reader)->fail("document type with declarations of its own");
    }
    // Named by a document type that is never fetched: without this its place in the text would be empty.
    static void entityCame(void* reader, const XML_Char*, int) {
        static_cast<Reader*>(reader)->fail("entity that is not defined");
    }

    std::size_t position() const {
        const XML_Index index = XML_GetCurrentByteIndex(parser_.get());
        return index < 0 ? 0 : static_cast<std::size_t>(index);
    }

    void fail(std::string_view fault) {
        if (error_)
            return;
        error_ = propertyListError(position(), fault);
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    void begin(std::string_view name) {
        const auto element = elementNamed(name);
        if (error_)
            return;
        if (!element)
            return fail("unknown element");
        if (scalar_)
            return fail("element inside a scalar");
        if (*element == Element::PropertyList)
            return beginPropertyList();
        if (!mayBegin(*element))
            return;
        if (*element == Element::Dictionary || *element == Element::Array)
            return beginContainer(*element);
        scalar_ = element;
        characters_.clear();
    }

    void beginPropertyList() {
        if (inPropertyList_)
            return fail("property list inside another");
        inPropertyList_ = true;
    }

    // Whether a value, or a key, may stand in this place.
    bool mayBegin(Element element) {
        const bool isKey = element == Element::Key;
        const bool inDictionary = !open_.empty() && open_.back().value.asDictionary();
        if (!inPropertyList_)
            fail("value outside the property list");
        else if (open_.empty() && !root_.isNull())
            fail("second value in the property list");
        else if (isKey && (!inDictionary || open_.back().key))
            fail("key in the place of a value");
        else if (!isKey && inDictionary && !open_.back().key)
            fail("value without a key");
        else if (!budget_.takeValues(1))
            fail("too many values");
        return !error_;
    }

    void beginContainer(Element element) {
        if (open_.size() >= kMaxPropertyListDepth)
            return fail("containers are nested too deeply");
        open_.push_back({element == Element::Array ? Value(Array()) : Value(Dictionary()), std::nullopt});
    }

    void take(std::string_view characters) {
        if (error_)
            return;
        if (scalar_)
            characters_ += characters;
        else if (!isAllSpace(characters))
            fail("text outside an element for text");
    }

    void end() {
        if (error_)
            return;
        if (scalar_)
            endScalar();
        else if (open_.empty())
            endPropertyList();
        else
            endContainer();
    }

    void endScalar() {
        const Element element = *scalar_;
        scalar_.reset();
        if (element == Element::Key) {
            open_.back().key = characters_;
            return;
        }
        auto value = scalarFromXml(element, characters_);
        if (!value)
            return fail("scalar that cannot be read");
        place(*std::move(value));
    }

    void endContainer() {
        if (open_.back().key)
            return fail("key without a value");
        Value value = std::move(open_.back().value);
        open_.pop_back();
        place(std::move(value));
    }

    void endPropertyList() {
        if (root_.isNull())
            fail("property list without a value");
    }

    void place(Value value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return;
        }
        Container& container = open_.back();
        if (Array* array = container.value.asArray()) {
            array->push_back(std::move(value));
            return;
        }
        container.value.asDictionary()->set(*container.key, std::move(value));
        container.key.reset();
    }

    struct ParserEnd {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    std::unique_ptr<XML_ParserStruct, ParserEnd> parser_;
    PropertyListBudget budget_;
    std::vector<Container> open_;
    std::optional<Element> scalar_; // the open element for a scalar or a key
    std::string characters_;        // what it holds so far
    bool inPropertyList_ = false;
    Value root_;
    std::optional<Error> error_;
};

} // namespace

Result<Value> readXmlPropertyList(std::span<const std::byte> bytes) {
    return Reader().read(bytes);
}

} // namespace kitwell::platform
