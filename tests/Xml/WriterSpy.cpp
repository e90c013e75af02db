#include "Xml/WriterSpy.h"

#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

using VornTest::WriterSpy;

extern "C" {
xmlBufferPtr __real_xmlBufferCreate();
void __real_xmlBufferFree(xmlBufferPtr buffer);
xmlTextWriterPtr __real_xmlNewTextWriterMemory(xmlBufferPtr buffer, int compression);
int __real_xmlTextWriterEndElement(xmlTextWriterPtr writer);
int __real_xmlTextWriterEndDocument(xmlTextWriterPtr writer);
}

extern "C" {

xmlBufferPtr __wrap_xmlBufferCreate() {
    WriterSpy::buffersBeforeCreation = WriterSpy::buffers.load();
    if (WriterSpy::failBufferCreate.exchange(false))
        return nullptr;
    ++WriterSpy::buffers;
    return __real_xmlBufferCreate();
}

void __wrap_xmlBufferFree(xmlBufferPtr buffer) {
    --WriterSpy::buffers;
    __real_xmlBufferFree(buffer);
}

xmlTextWriterPtr __wrap_xmlNewTextWriterMemory(xmlBufferPtr buffer, int compression) {
    WriterSpy::compression = compression;
    return WriterSpy::failNewWriter.exchange(false)
               ? nullptr
               : __real_xmlNewTextWriterMemory(buffer, compression);
}

int __wrap_xmlTextWriterEndElement(xmlTextWriterPtr writer) {
    return WriterSpy::failEndElement.exchange(false) ? -1 : __real_xmlTextWriterEndElement(writer);
}

int __wrap_xmlTextWriterEndDocument(xmlTextWriterPtr writer) {
    return WriterSpy::failEndDocument.exchange(false) ? -1
                                                      : __real_xmlTextWriterEndDocument(writer);
}
}
