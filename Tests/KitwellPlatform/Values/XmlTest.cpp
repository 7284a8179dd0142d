#include <gtest/gtest.h>

#include "KitwellPlatform/Values/Xml.h"

using namespace kitwell::platform;

TEST(Xml, ADocumentIsToldInItsOrder) {
    std::string told;
    const XmlEvents events{[&](const XmlElement& element) {
                               told += '<' + std::string(element.name) + '@' + std::to_string(element.line);
                               for (const auto& [name, value] : element.attributes)
                                   told.append(" ").append(name).append("=").append(value);
                               EXPECT_EQ(element.attribute("missing"), "");
                           },
                           [&](std::string_view name) { told.append("/").append(name); },
                           [&](std::string_view characters) { told += characters; }};
    EXPECT_TRUE(readXml("<a z=\"1\" y=\"&#xE9;&lt;\">\n<b/>x&amp;</a>", events));
    EXPECT_EQ(told, "<a@1 z=1 y=\xC3\xA9<\n<b@2/bx&/a");
}

TEST(Xml, WhatIsNotWellFormedIsRefusedWithItsLine) {
    for (const auto& [document, line] : {std::pair{"", 1},
                                         {"<a>\n<b></a>", 2},
                                         {"<a/>\n\n<a/>", 3},
                                         {"<a b=\"1\" b=\"2\"/>", 1},
                                         {"<a>\xFF</a>", 1},
                                         {"<a>\x01</a>", 1},
                                         {"<!DOCTYPE a [<!ENTITY e \"x\">]>\n<a>&e;</a>", 1},
                                         {"<a>&e;</a>", 1}}) {
        const auto result = readXml(document, {});
        ASSERT_FALSE(result) << document;
        EXPECT_EQ(result.error().code, line) << result.error().description;
    }
}
