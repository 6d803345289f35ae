#pragma once

/// The names that selecting a project by the vehicle's identification number is bound to.
namespace Quarlen::AutoSelect {

/// What a script gives as the project.
inline constexpr const wchar_t* project = L"AUTO_SELECT";
/// The auxiliary project that the number is read through, with its vehicle information and link.
inline constexpr const wchar_t* vinReader = L"VIN_Reader";
inline constexpr const wchar_t* vinInformation = L"DefaultVIT";
inline constexpr const wchar_t* vinLink = L"UDS_CAN_D";

} // namespace Quarlen::AutoSelect
