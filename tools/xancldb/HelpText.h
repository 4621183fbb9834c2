#ifndef XAN_TOOLS_XANCLDB_HELPTEXT_H
#define XAN_TOOLS_XANCLDB_HELPTEXT_H

#include <string>

namespace XAN_Xancldb
{
// The manual: all of it, or the entry of one command ("print", "p", "info mask"); empty for a
// topic it doesn't know.
std::string GetHelpText(const std::string& strTopic);
} // namespace XAN_Xancldb

#endif
