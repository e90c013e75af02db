// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_XML_H
#define VORN_BASES_XML_H

// Reading and writing of XML documents, loaded or built as a whole in memory. For documents of a
// program's own: the reader delivers elements, attributes and texts only, so that reading, changing
// and writing a document again loses its comments, CDATA sections and namespaces.
//
// Names, texts and values are strings in the multibyte encoding of the C library's current locale
// (LC_CTYPE), so call BasesInit first: in the C locale every text with a non-ASCII character fails.
// Load and BeginDocument look up the encoding, once per document. The decimal point of doubles
// follows the locale too (LC_NUMERIC).
//
// An object belongs to one thread at a time; different objects may be used at the same time.
//
// Failures are returned; only a malformed identifier throws, and a std::string when memory runs
// out. Nothing is written to standard error, and to standard output only the two lines of
// XmlReader::Load. The program's error functions for libxml2 are not called for what happens here,
// and are back in place when an operation returns; xmlGetLastError still reports libxml2's last
// error, ours included.

#include <memory>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

class Guid; // Bases/Utility.h

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
///         reader.GetAttribute(reader.GetFirstAttribute(item), attributeName, id); // id is 7
///     }
///
/// Note: libxml2 keeps every text in UTF-8, and yet texts are converted from the encoding that the
/// document declares. Documents declared UTF-8 read exactly. From others, ASCII text is right where
/// the declared encoding is a superset of ASCII; further characters come out as if their UTF-8
/// bytes were text in the declared encoding, or fail.
///
/// Note: a text fails when its converted form is more than nine bytes longer than its UTF-8 form.
///
/// Note: only the five predefined entities and character references are expanded, and nothing
/// outside the document is loaded: no external entity, no DTD. The defaults that the document's own
/// DTD gives to attributes are not delivered. Names lack their namespace prefix, unless nothing in
/// the document binds it; namespace declarations are not attributes.
///
/// Note: libxml2's limits hold: about 256 nested elements, 10,000,000 bytes per text. There is none
/// for the attributes of one element, which cost time by the square of their number: 10,000 (100
/// kB) took 0.07 seconds on one machine, 20,000 took 0.3 and 40,000 took 1.4. Programs that load
/// what others send refuse it by its size first.
class VORN_BASES_API XmlReader {
public:
    /// An element or an attribute of the loaded document, owned by the reader and valid until
    /// Close. Passing one of a closed document or of another reader is a programming error; it does
    /// no harm while the reader is empty.
    class Element;
    class Attribute;

    /// Constructs an empty reader. If memory runs out, the standard assert stops the process; where
    /// assertions are compiled out, the reader stays empty and every Load returns false.
    XmlReader();

    /// Closes the document.
    virtual ~XmlReader();
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    /// Loads the document in the file `path`. Returns true on success.
    ///
    /// Returns false and leaves the reader empty when the file cannot be read, is not well-formed
    /// XML, or declares an encoding unknown to libxml2 or iconv, or when memory runs out: a loaded
    /// document is complete. Also when its declaration names no encoding, with the line
    /// "[XmlDoc] Load from file (PATH file is not xml document)" on standard output. Returns false
    /// and changes nothing when a document is already loaded.
    ///
    /// Note: `path` always means a file. "-", http and ftp addresses, and names that are no file
    /// but that an XML catalog of the machine would replace are refused; a file named "-" loads as
    /// "./-". libxml2 also takes file:/// addresses and %-escapes, and reads compressed files.
    bool Load(const std::string& path);

    /// Loads the document in the `size` bytes at `buffer`, which are not needed afterwards. Returns
    /// as the form for files does; the line for a missing encoding is
    /// "[XmlDoc] Load from memory (not xml document)". Also returns false for a null buffer and for
    /// a size of 0 or above INT_MAX.
    bool Load(unsigned char* buffer, unsigned long size);

    /// Frees the document, if there is one; its element and attribute handles become invalid.
    void Close();

    /// Returns the root element, or null when the reader is empty.
    virtual Element* GetRootElement();

    /// Returns the first element inside `parent`, skipping texts, comments and all other nodes.
    /// Returns null when there is none, for a null parent and when the reader is empty.
    ///
    /// When `name` is not null, it receives the name of the element found. It stays unchanged when
    /// null is returned or the name cannot be converted. Note: `name` is an output, not a filter.
    Element* ChildElement(Element* parent, std::string* name = nullptr);

    /// Returns the next element after `element` inside the same parent; otherwise as ChildElement.
    Element* NextElement(Element* element, std::string* name = nullptr);

    /// Stores the name of `element` in `name` and returns true. Returns false, with `name`
    /// unchanged, for null, when the reader is empty and when the name cannot be converted.
    bool GetElement(Element* element, std::string& name);

    /// Stores the text that `element` begins with in `text` and returns true. Returns false, with
    /// `text` unchanged, for null, when the reader is empty, when the element is empty or begins
    /// with anything but text, and when the text cannot be converted.
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
    /// the reader is empty and when either cannot be converted; `value` is then unchanged, and so
    /// is `name`, unless it was the value that failed. An attribute without a value reads as an
    /// empty one. Note: of a value with entities, only the piece before the first one is read, or,
    /// if it begins with one, that entity's own text.
    bool GetAttribute(Attribute* attribute, std::string& name, std::string& value);

    /// The same with the value parsed as a decimal number. Returns as the form for texts does,
    /// whatever the number: leading white space is skipped, what follows the number is ignored, and
    /// a text without a number gives 0.
    ///
    /// Note: the number is read as an int. "-1" gives the largest unsigned long and unsigned int,
    /// and unsigned long takes nothing beyond the range of int. Of a larger number the low 32 bits
    /// count; unsigned char takes the low 8 bits, so "300" gives 44. A number beyond the range of
    /// long counts as its nearest end, so it reads as -1, or as 0 if it is negative.
    bool GetAttribute(Attribute* attribute, std::string& name, unsigned long& value);
    bool GetAttribute(Attribute* attribute, std::string& name, unsigned int& value);
    bool GetAttribute(Attribute* attribute, std::string& name, unsigned char& value);

    /// The same with the value parsed as a floating-point number, by the rules of atof.
    bool GetAttribute(Attribute* attribute, std::string& name, double& value);

    /// The same with the value parsed as an identifier. An empty text and the nil identifier leave
    /// `value` unchanged and still return true. Throws std::runtime_error ("invalid uuid string")
    /// where Guid::FromString does; `name` is then set.
    bool GetAttribute(Attribute* attribute, std::string& name, Guid& value);

private:
    struct VORN_BASES_LOCAL PrivateData;

    VORN_BASES_LOCAL bool IsLoaded() const;

    std::unique_ptr<PrivateData> m_pPrivateData;
};

/// Builds a document from its first element to its last.
///
///     |                    | idle        | writing             | finished    | stuck            |
///     | ------------------ | ----------- | ------------------- | ----------- | ---------------- |
///     | BeginDocument      | writing     | false               | writing, the| false            |
///     |                    | (or stuck)  |                     | old one goes|                  |
///     | writing operations | false       | true or false       | false       | false (see Close)|
///     | EndDocument        | false       | finished            | false       | idle             |
///     | GetXmlBuffer, Save | null, false | what is flushed yet | the document| null, false      |
///     | Close              | idle        | stuck               | idle        | stuck            |
///
///     Vorn::XmlWriter writer;
///     writer.BeginDocument("UTF-8");
///     writer.BeginElement("shop");
///     writer.WriteAttribute("items", 1);
///     writer.WriteElementEntity("item", "salt & pepper");
///     writer.EndElement();
///     writer.EndDocument();
///     writer.Save("shop.xml"); // true
///
/// Every text is converted from the locale's encoding to the document's; a zero byte ends it. An
/// operation whose text cannot be converted returns false and writes nothing (WriteElementEntity:
/// an empty element), and the document continues. Special characters in texts and values are
/// escaped. No line breaks or indentation are added between elements.
///
/// Note: libxml2 takes all its input to be UTF-8. Documents in UTF-8 are exact. In others, ASCII
/// text is right where the encoding is a superset of ASCII; further characters come out wrong, or
/// cost the document, or the rest of it. Only EndDocument then returns false: writing the text may
/// have returned true, and Save of what is left, perhaps nothing, still does.
///
/// Note: a text must fit in three bytes for each of its own and its terminator, so in UTF-32 hardly
/// any does.
///
/// Memory that runs out is a failure of the operation that needs it. Inside libxml2 it may cost
/// part of the document, which EndDocument then reports; the other operations go on.
///
/// Note: BasesRelease ends every document that is being written, because libxml2 frees what such
/// a document needs. What was written can still be fetched and saved, but operations that write
/// and EndDocument return false, even after another BasesInit. EndDocument must still be called
/// before the writer can begin a new document.
///
/// Note: names and comments are written as given. A name with a space, a comment with "--", a
/// duplicate attribute or a second root element results in a document that no parser accepts.
class VORN_BASES_API XmlWriter {
public:
    /// Constructs an idle writer. If memory runs out, the standard assert stops the process; where
    /// assertions are compiled out, every operation of the writer fails.
    XmlWriter();

    /// Drops the document, finished or not.
    virtual ~XmlWriter();
    XmlWriter(const XmlWriter&) = delete;
    XmlWriter& operator=(const XmlWriter&) = delete;

    /// Begins a document with its declaration, version 1.0 and `encoding` in libxml2's spelling,
    /// and drops an earlier finished one. Returns true on success.
    ///
    /// Returns false and changes nothing while a document is being written or the writer is stuck.
    /// Returns false, with the earlier document gone, when memory runs out or libxml2 or iconv does
    /// not know the encoding. Unless there was no memory to begin with, it then calls Close, the
    /// overriding one if there is one.
    ///
    /// Note: after an unknown encoding, or without memory for the declaration, the writer is stuck:
    /// every further BeginDocument returns false until EndDocument has been called.
    virtual bool BeginDocument(const std::string& encoding);

    /// Opens the element `name` inside the current one. Returns true on success; false when no
    /// document is being written and when the name is empty or cannot be converted.
    bool BeginElement(const std::string& name);

    /// Closes the innermost open element. Returns true on success; false when none is open.
    bool EndElement();

    /// Writes the element `name` with `content` as its text. Returns as BeginElement does.
    bool WriteElement(const std::string& name, const std::string& content);

    /// Writes the attribute `name` with `value` into the element just opened. Returns true on
    /// success; false when no document is being written, when no element is open or the current one
    /// already has text, a comment or an element inside, when the name is empty, and when either
    /// cannot be converted.
    bool WriteAttribute(const std::string& name, const std::string& value);

    /// Writes `text` into the current element. Returns true on success; false when no document is
    /// being written or the text cannot be converted. Note: outside all elements nothing is
    /// escaped, so a document type goes through, and text makes a document that no parser accepts.
    bool WriteEntity(const std::string& text);

    /// BeginElement, WriteEntity and EndElement in one. Returns false when the first fails,
    /// otherwise the result of the second. Note: a text that cannot be converted leaves an empty
    /// element.
    bool WriteElementEntity(const std::string& name, const std::string& text);

    /// Writes a comment. Returns true on success; false when no document is being written or the
    /// text cannot be converted.
    bool WriteComment(const std::string& text);

    /// The same three operations with a value, printed as follows; otherwise as the forms for
    /// texts:
    ///
    ///     | int, long long, unsigned long long | decimal                                        |
    ///     | unsigned int                       | decimal, as int: 4294967295 gives "-1"         |
    ///     | unsigned long                      | decimal, the low 32 bits as int                |
    ///     | double                             | as printf's "%lf" does, 3.140000; cut off      |
    ///     |                                    | after 254 characters                           |
    ///     | Guid                               | Guid::ToString: 34 characters with `form` 0,   |
    ///     |                                    | else 36; none for the nil identifier           |
    ///
    /// Note: XmlReader reads an unsigned int back as it was, but not an unsigned long beyond the
    /// range of int. Use unsigned long long for such values and read them as text. Other types
    /// convert as in C++: on Linux std::size_t and std::uint64_t are unsigned long, and
    /// std::int64_t is long, which is ambiguous: cast them.
    bool WriteAttribute(const std::string& name, const int& value);
    bool WriteEntity(const int& value);
    bool WriteElementEntity(const std::string& name, const int& value);

    bool WriteAttribute(const std::string& name, const unsigned int& value);
    bool WriteEntity(const unsigned int& value);
    bool WriteElementEntity(const std::string& name, const unsigned int& value);

    bool WriteAttribute(const std::string& name, const unsigned long& value);
    bool WriteEntity(const unsigned long& value);
    bool WriteElementEntity(const std::string& name, const unsigned long& value);

    bool WriteAttribute(const std::string& name, const long long& value);
    bool WriteEntity(const long long& value);
    bool WriteElementEntity(const std::string& name, const long long& value);

    bool WriteAttribute(const std::string& name, const unsigned long long& value);
    bool WriteEntity(const unsigned long long& value);
    bool WriteElementEntity(const std::string& name, const unsigned long long& value);

    bool WriteAttribute(const std::string& name, const double& value);
    bool WriteEntity(const double& value);
    bool WriteElementEntity(const std::string& name, const double& value);

    bool WriteAttribute(const std::string& name, const Guid& value, int form);
    bool WriteEntity(const Guid& value, int form);
    bool WriteElementEntity(const std::string& name, const Guid& value, int form);

    /// Closes the elements still open and finishes the document, which can then be fetched and
    /// saved until Close or the next BeginDocument. Returns true on success; false when no document
    /// is being written, when libxml2 refuses, and when memory ran out inside libxml2 at any time
    /// since BeginDocument. Either way no document is being written afterwards.
    virtual bool EndDocument();

    /// Returns the bytes of the finished document and stores their number in `size`. They belong to
    /// the writer and are valid until Close, the next BeginDocument or the destructor. Returns null
    /// and stores 0 when there is no document. Note: before EndDocument an unknown part of the
    /// document is still missing, and the next operation that writes, EndDocument included, may
    /// move the bytes: fetch them again.
    unsigned char* GetXmlBuffer(unsigned long& size);

    /// Writes the bytes that GetXmlBuffer gives to the file `path`, replacing its contents. Returns
    /// false when there is no document or the file cannot be opened for writing. Note: true means
    /// that the file was opened; a full disk goes unnoticed.
    bool Save(const std::string& path);

    /// Drops the document.
    ///
    /// Note: while a document is being written, Close leaves the writer stuck: the bytes can no
    /// longer be fetched, operations with a text return false, and BeginDocument returns false
    /// until EndDocument has been called. EndElement and EndDocument work as if nothing had
    /// happened.
    virtual void Close();

private:
    struct VORN_BASES_LOCAL PrivateData;
    std::unique_ptr<PrivateData> m_pPrivateData;
};

} // namespace Vorn

#endif
