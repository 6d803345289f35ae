#include "kel_server/HardwareTypeText.hpp"

namespace Quarlen {

std::wstring hardwareTypeText(Kel_cpp::HardwareType type) {
    using Kel_cpp::HardwareType;
    switch (type) {
    case HardwareType::Unknown:
        return L"Unknown";
    case HardwareType::Ostrel2000:
        return L"Ostrel2000";
    case HardwareType::Zra:
        return L"ZRA";
    case HardwareType::Raspberry:
        return L"Raspberry";
    case HardwareType::Linux:
        return L"Linux";
    case HardwareType::Windows:
        return L"Windows";
    case HardwareType::Ios:
        return L"IOS";
    case HardwareType::Android:
        return L"Android";
    }
    return L"Invalid \"HardwareType\" value -- conversion not possible";
}

} // namespace Quarlen
