#ifndef VORN_BASES_XML_H
#define VORN_BASES_XML_H

// Reading of XML documents.
//
// A document is loaded or built as a whole, in memory. Names, texts and values come and go as
// strings in the multibyte encoding of the C library's current locale (LC_CTYPE), so call BasesInit
// first: without it the C locale stands, and every text with other than ASCII characters fails. The
// encoding is looked up once per document, by Load and BeginDocument. The decimal point of double
// values follows that locale too (LC_NUMERIC).
//
// An object belongs to one thread at a time; different objects may be used at the same time.
// Nothing is written to standard error. Error functions that the host has given to libxml2 are
// not called for what happens in here, and stand as before when an operation returns; only
// xmlGetLastError tells of the last trouble, whoever had it. Standard output gets nothing but the
// two lines of XmlReader::Load. Failures are results; only a malformed identifier throws, and a
// std::string that finds no memory.

#include <memory>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

class Guid;

/// Loads a document and walks its tree of elements.
///
///     |                    | empty                | loaded                     |
///     | ------------------ | -------------------- | -------------------------- |
///     | Load               | loads, or stays empty| false, nothing changes     |
///     | Close              | does nothing         | becomes empty              |
///     | walking operations | null                 | an element, attribute, null|
///     | reading operations | false                | true or false              |
///
///     unsigned char text[] =
///         R"(<?xml version="1.0" encoding="UTF-8"?><shop><item id="7"/></shop>)";
///     Vorn::XmlReader reader;
///     if (reader.Load(text, sizeof text - 1)) {
///         std::string name;
///         Vorn::XmlReader::Element* item = reader.ChildElement(reader.GetRootElement(), &name);
///         unsigned int id = 0;
///         std::string attributeName;
///         reader.GetAttribute(reader.GetFirstAttribute(item), attributeName, id); // "id", 7
///     }
///
/// Note: libxml2 keeps every text in UTF-8, and yet texts are converted from the encoding that the
/// document declares. Documents declared UTF-8 (or ASCII) read exactly. From others ASCII text
/// comes out right where the declared encoding is a superset of ASCII; further characters come out
/// as if their UTF-8 bytes were text in the declared encoding, or fail.
///
/// Note: a text whose converted form is more than nine bytes longer than its UTF-8 form fails.
///
/// Note: entities are not expanded, except the five predefined ones and character references, and
/// nothing outside of the document is loaded: no external entity, no DTD. Namespace prefixes are
/// not part of names, and namespace declarations are no attributes. libxml2's limits hold: about 256
/// nested elements, 10,000,000 bytes for one text.
class VORN_BASES_API XmlReader {
public:
    /// An element or an attribute of the loaded document. The reader owns them all; they are gone
    /// after Close. Handing in one of a document that was closed or belongs to another reader is
    /// the caller's mistake; it does no harm while the reader is empty.
    class Element;
    class Attribute;

    /// Makes an empty reader.
    XmlReader();

    /// Closes the document.
    virtual ~XmlReader();
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    /// Loads the document in the file `path`. Returns true on success.
    ///
    /// Returns false and leaves the reader empty when the file cannot be read, is not well-formed
    /// XML, or declares an encoding that libxml2 or iconv does not know. A document whose
    /// declaration names no encoding is refused as well, with the line
    /// "[XmlDoc] Load from file (PATH file is not xml document)" on standard output. Returns false
    /// and changes nothing when a document is loaded already.
    ///
    /// Note: files are meant. "-" and http and ftp addresses are refused; a file of the name "-"
    /// loads as "./-". libxml2 also understands file:/// addresses and %-escapes, and reads
    /// compressed files.
    bool Load(const std::string& path);

    /// Loads the document in the `size` bytes at `buffer`, which are not needed afterwards. Returns
    /// as the form for files does; the line of the missing encoding is
    /// "[XmlDoc] Load from memory (not xml document)". Returns false as well for a null buffer and
    /// for a size of 0 or above INT_MAX.
    bool Load(unsigned char* buffer, unsigned long size);

    /// Lets go of the document, if any. All elements and attributes are gone with it.
    void Close();

    /// Returns the outermost element, or null when the reader is empty.
    virtual Element* GetRootElement();

    /// Returns the first element inside of `parent`; texts, comments and the like are stepped over.
    /// Returns null when there is none, for a null parent and when the reader is empty.
    ///
    /// When `name` is not null, the name of the element found goes there. It stays unchanged when
    /// null is returned or the name cannot be converted. Note: it asks for no particular name.
    Element* ChildElement(Element* parent, std::string* name = nullptr);

    /// Returns the next element after `element` inside of the same parent; otherwise as
    /// ChildElement.
    Element* NextElement(Element* element, std::string* name = nullptr);

    /// Stores the name of `element` in `name` and returns true. Returns false, with `name`
    /// unchanged, for null, when the reader is empty or when the name cannot be converted.
    bool GetElement(Element* element, std::string& name);

    /// Stores the text that `element` begins with in `text` and returns true. Returns false, with
    /// `text` unchanged, for null, when the reader is empty, when the element is empty or begins
    /// with something else than text, or when the text cannot be converted.
    ///
    /// Note: only the very first piece counts. Text after an inner element or a comment is not
    /// reached, and an element that begins with a CDATA section or an entity gives false.
    bool GetEntity(Element* element, std::string& text);

    /// Returns the first attribute of `element`, or null when it has none, for null and when the
    /// reader is empty.
    Attribute* GetFirstAttribute(Element* element);

    /// Returns the attribute after `attribute`, or null after the last one, for null and when the
    /// reader is empty.
    Attribute* NextAttribute(Attribute* attribute);

    /// Stores the name and the value of `attribute` and returns true. Returns false for null, when
    /// the reader is empty, or when either cannot be converted; `value` is then unchanged, and so
    /// is `name` unless it was the value that failed. An attribute without a value reads as an
    /// empty one. Note: of a value with entities only the piece before the first of them is read,
    /// or the first entity's own text.
    bool GetAttribute(Attribute* attribute, std::string& name, std::string& value);

    /// The same with the value taken as a decimal number. Returns as the form for texts does, and
    /// true whatever the text: leading white space is skipped, what follows the number is ignored,
    /// and a text without a number gives 0.
    ///
    /// Note: the number is read as an int. "-1" gives the largest value of unsigned long and
    /// unsigned int, and unsigned long takes nothing beyond the range of int. Of a larger number
    /// the low 32 bits count; unsigned char takes the low 8 bits, so "300" gives 44.
    bool GetAttribute(Attribute* attribute, std::string& name, unsigned long& value);
    bool GetAttribute(Attribute* attribute, std::string& name, unsigned int& value);
    bool GetAttribute(Attribute* attribute, std::string& name, unsigned char& value);

    /// The same with the value taken as a floating-point number, by the rules of atof.
    bool GetAttribute(Attribute* attribute, std::string& name, double& value);

    /// The same with the value taken as an identifier. An empty text and the identifier of zeros
    /// leave `value` unchanged, and still true is returned. Throws std::runtime_error
    /// ("invalid uuid string") where Guid::FromString does; `name` is then set.
    bool GetAttribute(Attribute* attribute, std::string& name, Guid& value);

private:
    struct PrivateData;
    std::unique_ptr<PrivateData> m_pPrivateData;
};

} // namespace Vorn

#endif
