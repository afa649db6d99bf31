#include "core/settings/HotkeyFormat.h"

#include <array>
#include <utility>
#include <vector>

namespace quillon {

namespace {

// evdev codes (linux/input-event-codes.h) of the keys with a name.
constexpr std::array<std::pair<int, std::string_view>, 45> keyNames{{
    {30, "A"},     {48, "B"},         {46, "C"},       {32, "D"},     {18, "E"},  {33, "F"},      {34, "G"},
    {35, "H"},     {23, "I"},         {36, "J"},       {37, "K"},     {38, "L"},  {50, "M"},      {49, "N"},
    {24, "O"},     {25, "P"},         {16, "Q"},       {19, "R"},     {31, "S"},  {20, "T"},      {22, "U"},
    {47, "V"},     {17, "W"},         {45, "X"},       {21, "Y"},     {44, "Z"},  {28, "Return"}, {15, "Tab"},
    {57, "Space"}, {14, "Backspace"}, {111, "Delete"}, {1, "Escape"}, {59, "F1"}, {60, "F2"},     {61, "F3"},
    {62, "F4"},    {63, "F5"},        {64, "F6"},      {65, "F7"},    {66, "F8"}, {67, "F9"},     {68, "F10"},
    {87, "F11"},   {88, "F12"},       {188, "F18"},
}};

constexpr std::array<std::pair<int, std::string_view>, 5> modifierNames{{
    {modifier::function, "Fn"},
    {modifier::control, "Ctrl"},
    {modifier::alt, "Alt"},
    {modifier::shift, "Shift"},
    {modifier::super, "Super"},
}};

}  // namespace

std::optional<std::string_view> keyCodeToCharacter(int keyCode) {
    for (const auto& [code, name] : keyNames) {
        if (code == keyCode) return name;
    }
    return std::nullopt;
}

std::string formatHotkey(HotkeyMode mode, int keyCode, int modifiers) {
    if (mode == HotkeyMode::capsLock) return "Caps Lock";
    std::vector<std::string> parts;
    for (const auto& [bit, name] : modifierNames) {
        if ((modifiers & bit) != 0) parts.emplace_back(name);
    }
    if (keyCode != 0) {
        const auto name = keyCodeToCharacter(keyCode);
        parts.push_back(name ? std::string(*name) : "Key " + std::to_string(keyCode));
    }
    if (parts.empty()) return "No key";
    std::string text;
    for (const auto& part : parts) {
        if (!text.empty()) text += ' ';
        text += part;
    }
    return text;
}

}  // namespace quillon
