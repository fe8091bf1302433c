// The types of libxml2 that our headers name, without its headers.

#pragma once

// NOLINTBEGIN(bugprone-reserved-identifier): the library's own tags
typedef struct _xmlDoc xmlDoc;                    // libxml/tree.h
typedef struct _xmlError xmlError;                // libxml/xmlerror.h
typedef struct _xmlNode xmlNode;                  // libxml/tree.h
typedef struct _xmlXPathContext xmlXPathContext;  // libxml/xpath.h
// NOLINTEND(bugprone-reserved-identifier)
