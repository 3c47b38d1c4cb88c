#pragma once

#include "nerio/platform/xml_dom.h"
#include "tools/nerio/command_line.h"

namespace nerio::tool {

/// Returns the layer's own DOM. Files are read and written by it on every host, so that they come out alike, version 4.0
/// need not be installed, and nothing that a file names elsewhere is fetched.
platform::XmlDom& ToolDom();

/// Loads a text into a document of `ToolDom`, as its `LoadXml` does, and shows how far it has come.
bool LoadXmlText(Session& session, const platform::XmlDocument& document, TextView text);

}  // namespace nerio::tool
