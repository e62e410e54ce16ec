#include <quarn/datasets/Names_detail.h>

#include <wx/strconv.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace quarn::detail {
namespace {

constexpr wchar_t PrivateUse = 0xF700;  // plus a byte beyond ASCII

bool IsByte(wchar_t c) { return c >= PrivateUse + 0x80 && c <= PrivateUse + 0xFF; }

/// In the encoding of the locale; empty if that has no form for it.
std::string InLocale(const std::wstring& text) {
    const std::size_t size = wxConvLibc.FromWChar(nullptr, 0, text.data(), text.size());
    if (size == wxCONV_FAILED) return {};
    std::string bytes(size, '\0');
    wxConvLibc.FromWChar(bytes.data(), bytes.size(), text.data(), text.size());
    return bytes;
}

std::string InUTF8(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t c : text) bytes += wxString(c).utf8_string();
    return bytes;
}

/// Characters that stand for bytes become these, and what is between them text in the locale, or UTF-8 where that has
/// no form for it. The first is whether it always had one.
std::pair<bool, std::string> ToBytes(const wxString& name) {
    if (name.IsAscii()) return {true, name.ToStdString(wxConvISO8859_1)};
    const std::wstring& text = name.ToStdWstring();  // a reference or a value, by the build of the string library
    bool hasForm = true;
    std::string bytes;
    for (auto at = text.begin(); at != text.end();) {
        const auto byte = std::find_if(at, text.end(), IsByte);
        if (const std::wstring run(at, byte); !run.empty()) {
            const std::string local = InLocale(run);
            hasForm = hasForm && !local.empty();
            bytes += local.empty() ? InUTF8(run) : local;
        }
        for (at = byte; at != text.end() && IsByte(*at); ++at) bytes += static_cast<char>(*at - PrivateUse);
    }
    return {hasForm, std::move(bytes)};
}

}  // namespace

wxString ToTableName(const std::string& name) {
    const bool ascii = std::all_of(name.begin(), name.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
    // Not by FromAscii, which ends the program where memory runs out.
    if (ascii) return std::wstring(name.begin(), name.end());
    const wxString converted(name.data(), wxConvLibc, name.size());
    // What does not come back, such as the UTF-8 form of a character that stands for a byte, is no text either.
    if (ToSavedName(converted) == name) return converted;
    std::wstring characters;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        characters += static_cast<wchar_t>(byte < 0x80 ? byte : PrivateUse + byte);
    }
    return characters;
}

std::string ToByteString(const wxString& name) {
    auto [hasForm, bytes] = ToBytes(name);
    return hasForm ? std::move(bytes) : std::string();
}

std::string ToSavedName(const wxString& name) { return ToBytes(name).second; }

int FindColumn(const wxArrayString& varNames, const std::string& name) {
    const int column = varNames.Index(ToTableName(name));
    return column == wxNOT_FOUND ? static_cast<int>(varNames.size()) : column;
}

std::vector<int> FindColumns(const wxArrayString& varNames, const std::vector<std::string>& names) {
    constexpr std::size_t worthATable = 16;  // fewer names are found faster one by one
    std::vector<int> columns;
    columns.reserve(names.size());
    if (names.size() < worthATable) {
        for (const std::string& name : names) columns.push_back(FindColumn(varNames, name));
        return columns;
    }
    const int count = static_cast<int>(varNames.size());
    std::unordered_map<std::wstring, int> first;
    first.reserve(varNames.size());
    for (int column = 0; column < count; ++column)
        first.emplace(varNames[static_cast<std::size_t>(column)].ToStdWstring(), column);
    for (const std::string& name : names) {
        const auto found = first.find(ToTableName(name).ToStdWstring());
        columns.push_back(found == first.end() ? count : found->second);
    }
    return columns;
}

}  // namespace quarn::detail
