#pragma once

#include <wx/arrstr.h>
#include <wx/string.h>

#include <string>
#include <vector>

/// Variable names between the byte strings of our callers and the strings of the table.
namespace quarn::detail {

/// ASCII as it stands, other bytes through wxConvLibc. Of a name that is no text in the locale of the process, each
/// byte beyond ASCII becomes a character for private use: different names stay different, and none becomes empty.
wxString ToTableName(const std::string& name);

/// The way back, through wxConvLibc; empty if the name has no form in the locale of the process.
std::string ToByteString(const wxString& name);

/// The same for files, where no name may be lost: of one that has no form in the locale, characters for private use
/// become the bytes that they stand for, and the others UTF-8.
std::string ToSavedName(const wxString& name);

/// Column of the first variable of that name, or the number of variables.
int FindColumn(const wxArrayString& varNames, const std::string& name);

/// The same for each of the names. Cost: linear in the variables and names together.
std::vector<int> FindColumns(const wxArrayString& varNames, const std::vector<std::string>& names);

}  // namespace quarn::detail
