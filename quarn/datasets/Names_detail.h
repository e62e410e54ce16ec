#pragma once

#include <wx/arrstr.h>
#include <wx/string.h>

#include <string>
#include <vector>

/// Variable names between the byte strings of our callers and the strings of the table.
namespace quarn::detail {

/// ASCII as it stands, other bytes through wxConvLibc. Of a name that is no text in the locale of the process, or whose
/// text would not come back as the same bytes, each byte beyond ASCII becomes a character for private use, U+F780 to
/// U+F7FF: different names stay different, and none becomes empty.
wxString ToTableName(const std::string& name);

/// The way back, for files and messages, where no name may be lost: characters for private use become the bytes that
/// they stand for, and the text between them goes through wxConvLibc, or becomes UTF-8 if it has no form in the locale.
/// Ensures: ToSavedName(ToTableName(name)) == name, for any bytes, if the locale is the same.
std::string ToSavedName(const wxString& name);

/// The same, but empty if some of the text has no form in the locale of the process.
std::string ToByteString(const wxString& name);

/// Column of the first variable of that name, or the number of variables.
int FindColumn(const wxArrayString& varNames, const std::string& name);

/// The same for each of the names. Cost: linear in the variables and names together.
std::vector<int> FindColumns(const wxArrayString& varNames, const std::vector<std::string>& names);

}  // namespace quarn::detail
