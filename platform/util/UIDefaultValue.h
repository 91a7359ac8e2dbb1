#pragma once

namespace Quelto::Lumindra::UIDefaultValue::ZValue {

// Stacking order of scene content: the picture at Default, tool items above it.
inline constexpr double Default = 0.0;
inline constexpr double ToolItems = 10.0;

} // namespace Quelto::Lumindra::UIDefaultValue::ZValue
