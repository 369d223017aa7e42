// Loading the plug-in's shared library into the host, as Xojo does.
#pragma once

#include <string>

namespace qvlhost {

// Opens the shared library at `path`, finds REALPluginMain and calls it with
// Resolver(), so the plug-in registers its surface with the current host. The
// library stays loaded for the life of the process: the host keeps pointers
// into its definition tables. False, with *error set, when the library cannot
// be opened or exports no REALPluginMain.
bool LoadPlugin(const std::string& path, std::string* error);

}  // namespace qvlhost
