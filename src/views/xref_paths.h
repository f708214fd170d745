// The two places where the file of an external reference is looked for: the stored path
// with ".dwg" added when it does not end in "dwg" (any case), and the file name of that
// path in the host's folder. "\" and "/" both separate.
#ifndef VELKO_XREF_PATHS_H
#define VELKO_XREF_PATHS_H

#include <string>

// The stored path as it is opened first; empty stays empty.
std::string XrefPathAsStored(const std::string &stored);

// The file name of `reference` (what follows its last separator) in the folder of
// `host_file`, the folder "." when the host's name has no separator.
std::string XrefPathBesideHost(const std::string &host_file, const std::string &reference);

#endif
