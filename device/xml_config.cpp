#include "device/xml_config.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlIO.h>
#include <unistd.h>
#include <utility>

namespace {

// --- What libxml2 reads ---

// A configuration file has a few kilobytes and a handful of attributes per element. libxml2
// compares every attribute of an element, and every namespace in force, with all others.
constexpr std::size_t largestFile = std::size_t{256} * 1024; // bytes
constexpr int largestTable = 2500; // entries: five for an attribute, two for a namespace

// The one file that is being read.
struct OpenFile {
    xmlParserCtxt* parser;
    int fd;
    std::size_t taken; // bytes
};
OpenFile openFile{};
bool hasComplained = false;

// In the manner of libxml2's own complaints, to whoever listens to those.
void complain(const char* kind, const char* reason) {
    char text[128];
    std::snprintf(text, sizeof text, "%s : %s\n", kind, reason);
    if (xmlStructuredError == nullptr) {
        xmlGenericError(xmlGenericErrorContext, "%s", text);
        return;
    }
    xmlError complaint{};
    complaint.message = text;
    xmlStructuredError(xmlStructuredErrorContext, &complaint);
}

void* openRegularFile(const char* path) {
    openFile.fd = openConfigFile(path);
    openFile.taken = 0;
    if (openFile.fd == -1) {
        char cause[64];
        char reason[192];
        std::snprintf(reason, sizeof reason, "%s: %s", path,
                      strerror_r(errno, cause, sizeof cause));
        complain("I/O error", reason);
        return nullptr;
    }
    return &openFile;
}

void refuse(xmlParserCtxt& parser, const char* reason) {
    complain("refused", reason);
    parser.wellFormed = 0;
}

// Reads the next piece. Behind the first fault there is nothing to learn, so that a document full
// of faults costs no more than one with one.
int readPiece(void* /*file*/, char* piece, int size) {
    xmlParserCtxt& parser = *openFile.parser;
    if (parser.wellFormed == 0) {
        return 0;
    }
    const ssize_t count = read(openFile.fd, piece, static_cast<std::size_t>(size));
    openFile.taken += count > 0 ? static_cast<std::size_t>(count) : 0;
    if (openFile.taken > largestFile) {
        refuse(parser, "longer than a configuration file may be");
        return 0;
    }
    if (parser.maxatts > largestTable || parser.nsMax > largestTable) {
        refuse(parser, "hundreds of attributes or namespaces");
        return 0;
    }
    return static_cast<int>(count);
}

int closeFile(void* /*file*/) {
    return close(openFile.fd);
}

// Declarations of a file's own multiply what it holds: entities and default attributes.
void refuseInternalSubset(void* self, const xmlChar* name, const xmlChar* publicId,
                          const xmlChar* systemId) {
    auto* parser = static_cast<xmlParserCtxt*>(self);
    if (*parser->input->cur == '[') {
        refuse(*parser, "declarations within the document type");
        xmlStopParser(parser);
        return;
    }
    xmlSAX2InternalSubset(self, name, publicId, systemId);
}

xmlParserInput* loadDocument(const char* path, const char* /*publicId*/, xmlParserCtxt* parser) {
    openFile.parser = parser;
    parser->sax->internalSubset = refuseInternalSubset;
    return xmlNewInputFromFile(parser, path);
}

// --- What it says ---

// libxml2 utters a complaint in pieces; those of the next one go nowhere.
// NOLINTNEXTLINE(cert-dcl50-cpp): libxml2 calls it like printf
[[gnu::format(printf, 2, 3)]] void printFirstComplaint(void* /*context*/, const char* format, ...) {
    char piece[512]; // a name can have 50,000 characters
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(piece, sizeof piece, format, arguments);
    va_end(arguments);
    std::fputs(piece, stderr);
    hasComplained = true;
    xmlSetStructuredErrorFunc(nullptr, [](void* /*context*/, auto* /*complaint*/) {});
}

// The input callbacks replace libxml2's own, which unpack files and are tried when the last
// registered one gives nothing.
void tameParser() {
    static const bool tamed = [] {
        xmlInitParser();
        xmlCleanupInputCallbacks();
        xmlRegisterInputCallbacks([](const char* /*path*/) { return 1; }, openRegularFile,
                                  readPiece, closeFile);
        xmlSetExternalEntityLoader(loadDocument);
        xmlSetGenericErrorFunc(nullptr, printFirstComplaint);
        return true;
    }();
    static_cast<void>(tamed);
}

bool isNamed(const xmlNode* element, const char* name) {
    return xmlStrcmp(element->name, reinterpret_cast<const xmlChar*>(name)) == 0;
}

} // namespace

XmlDocument::XmlDocument(const char* path, const FileCheck& file, const char* rootName) {
    if (file.regular) {
        tameParser();
        document_ = xmlReadFile(path, "UTF-8", XML_PARSE_NOBLANKS);
    }
    if (std::exchange(hasComplained, false)) {
        xmlSetStructuredErrorFunc(nullptr, nullptr);
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
