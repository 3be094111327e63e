#include "device/xml_config.h"

#include <cstdio>
#include <libxml/parser.h>

namespace {

// A configuration file has a few kilobytes. The document of a file of gigabytes would take all
// memory of the gateway.
constexpr std::int64_t largestFile = 1 << 20; // bytes

bool isNamed(const xmlNode* element, const char* name) {
    return xmlStrcmp(element->name, reinterpret_cast<const xmlChar*>(name)) == 0;
}

} // namespace

XmlDocument::XmlDocument(const char* path, const FileCheck& file, const char* rootName) {
    // Opening a FIFO would wait for a writer and stop the panel.
    if (file.regular && file.size <= largestFile) {
        document_ = xmlReadFile(path, "UTF-8", XML_PARSE_NOBLANKS);
    }
    if (document_ == nullptr) {
        std::printf("%s Document not parsed successfully.\n", path);
        return;
    }
    xmlKeepBlanksDefault(0);
    const xmlNode* element = xmlDocGetRootElement(document_);
    if (element == nullptr) {
        std::printf("%s Document is empty.\n", path);
    } else if (!isNamed(element, rootName)) {
        std::printf("document of the wrong type, root node != %s", rootName);
    } else {
        root_ = element;
    }
}

XmlDocument::~XmlDocument() {
    if (document_ != nullptr) {
        xmlFreeDoc(document_);
    }
}

const xmlNode* findElement(const xmlNode* node, const char* name) {
    while (node != nullptr && (node->type != XML_ELEMENT_NODE || !isNamed(node, name))) {
        node = node->next;
    }
    return node;
}
