#pragma once

// Reading the XML configuration files with libxml2.
//
// A document is parsed, checked and freed within one reading. Walks look at
// element nodes only. Main thread only. Each failure prints one line on standard
// output; of libxml2's own complaints the first of a reading goes to standard error.
// libxml2 opens and reads files as this source lets it, in the whole process.

#include "device/config_file.h"

#include <libxml/tree.h>

// A parsed document whose root element has the expected name.
class XmlDocument {
  public:
    // Parses `path` as UTF-8. A file counts as not parsed, too, when it is not regular, over 256
    // KiB or packed, when its document type declaration has an internal subset, or when one element
    // has several hundred attributes or namespaces.
    XmlDocument(const char* path, const FileCheck& file, const char* rootName);
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // The root element, or null when the document was refused (the reason is printed).
    const xmlNode* root() const { return root_; }

  private:
    xmlDoc* document_ = nullptr;
    const xmlNode* root_ = nullptr;
};

// The first element called `name` from `node` on among its siblings, or null.
const xmlNode* findElement(const xmlNode* node, const char* name);

// Calls `visit` with every child element of `parent` called `name`, in document order.
template <class Visit>
void forEachElement(const xmlNode* parent, const char* name, Visit visit) {
    for (const xmlNode* child = findElement(parent->children, name); child != nullptr;
         child = findElement(child->next, name)) {
        visit(child);
    }
}

// The text of one attribute, freed at the end of its scope.
class XmlAttributeText {
  public:
    // Looking an attribute up by its name would cost a walk over those before it.
    explicit XmlAttributeText(const xmlAttr* attribute)
        : text_(xmlNodeGetContent(reinterpret_cast<const xmlNode*>(attribute))) {}
    ~XmlAttributeText() {
        if (text_ != nullptr) {
            xmlFree(text_);
        }
    }
    XmlAttributeText(const XmlAttributeText&) = delete;
    XmlAttributeText& operator=(const XmlAttributeText&) = delete;

    // Null when libxml2 found no memory for it.
    const char* get() const { return reinterpret_cast<const char*>(text_); }

  private:
    xmlChar* text_;
};

// Calls `visit` with name and text of every attribute of `element`, in document order.
template <class Visit>
void forEachAttribute(const xmlNode* element, Visit visit) {
    for (const xmlAttr* attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        const XmlAttributeText text(attribute);
        if (text.get() != nullptr) {
            visit(reinterpret_cast<const char*>(attribute->name), text.get());
        }
    }
}
