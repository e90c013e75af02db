// SPDX-License-Identifier: MIT
#include <Bases/Bases.h>
#include <Bases/Xml.h>
#include <cstdio>
#include <string>

using Vorn::XmlReader;

// Stores the value of the attribute of that name. The operations of the reader walk; none searches.
static bool FindAttribute(XmlReader& reader, XmlReader::Element* element, const std::string& wanted,
                          std::string& value) {
    std::string name;
    XmlReader::Attribute* attribute = reader.GetFirstAttribute(element);
    for (; attribute != nullptr; attribute = reader.NextAttribute(attribute))
        if (reader.GetAttribute(attribute, name, value) && name == wanted)
            return true;
    return false;
}

static void PrintPrices(XmlReader& reader) {
    std::string name;
    XmlReader::Element* item = reader.ChildElement(reader.GetRootElement(), &name);
    for (; item != nullptr; item = reader.NextElement(item, &name)) {
        std::string text;
        std::string price;
        if (name == "item" && reader.GetEntity(item, text))
            std::printf("%s: %s\n", text.c_str(),
                        FindAttribute(reader, item, "price", price) ? price.c_str() : "unknown");
    }
}

int main(int argc, char** argv) {
    Vorn::BasesInit(); // the encoding of all texts is that of the environment's locale
    {
        XmlReader reader; // gone before BasesRelease
        if (argc == 2 && reader.Load(argv[1]))
            PrintPrices(reader);
        else
            std::puts("not loaded");
    }
    Vorn::BasesRelease();
}
