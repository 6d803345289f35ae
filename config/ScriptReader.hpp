#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/ScriptObjects.hpp"
#include "xml/Parser.hpp"

namespace Config {

/// Makes the objects of a file while it is read: a `CfxKelServerScript`, or a `CfxUnknown` when the
/// root element has another name. Elements inside an action and attributes that the library does
/// not know are passed over and cost no memory. Throws `Xml::Fault` for a value that cannot be
/// meant as it stands, for more objects than `maximumMemory` and for a text longer than
/// `maximumText`.
class ScriptReader : public Xml::Receiver {
public:
    /// Bytes of all objects and their texts.
    static constexpr std::size_t maximumMemory = std::size_t{24} * 1024 * 1024;
    /// Bytes in UTF-8. The runtime keeps the text that it was told last, in a status for example.
    static constexpr std::size_t maximumText = std::size_t{256} * 1024;

    void begin(std::string_view element, const Xml::Attributes& attributes) override;
    void end() override;
    void text(std::string_view part) override;

    /// Null before the file has been read.
    [[nodiscard]] Ref<ConfigObject> root() const { return rootObject; }

private:
    using Texts = std::vector<std::wstring>;

    /// What the open action takes from its child elements; null is what it does not take.
    struct OpenAction {
        Texts* items = nullptr;
        std::vector<TargetSetting>* targets = nullptr;
        Texts* dtcStatus = nullptr;
        std::optional<VehicleReportSetting>* vehicleReport = nullptr;
        std::optional<UnlockDescription>* unlock = nullptr;
    };

    struct KnownElement {
        std::string_view name;
        void (ScriptReader::*begin)(const Xml::Attributes& attributes);
    };
    static const KnownElement knownActions[];
    static const KnownElement knownChildren[];

    void beginRoot(std::string_view element, const Xml::Attributes& attributes);
    void beginAction(std::string_view element, const Xml::Attributes& attributes);
    void beginChild(std::string_view element, const Xml::Attributes& attributes);

    void beginExecute(const Xml::Attributes& attributes);
    void beginSelect(const Xml::Attributes& attributes);
    void beginQuicktest(const Xml::Attributes& attributes);
    void beginFlashing(const Xml::Attributes& attributes);
    void beginUnlockAction(const Xml::Attributes& attributes);

    void beginItem(const Xml::Attributes& attributes);
    void beginDtcStatus(const Xml::Attributes& attributes);
    void beginTarget(const Xml::Attributes& attributes);
    void beginVehicleReport(const Xml::Attributes& attributes);
    void beginUnlock(const Xml::Attributes& attributes);

    template <class Action>
    Action& addAction();
    void collectText(Texts* list);
    [[nodiscard]] std::wstring attributeText(const Xml::Attributes& attributes,
                                             std::string_view name);
    void charge(std::size_t bytes);
    void chargeText(std::size_t length);

    Ref<ConfigObject> rootObject;
    Ref<CfxKelServerScript> script;
    /// One for all elements without a name of ours: a file full of them costs no more than their
    /// list.
    Ref<ConfigObject> unknown{new CfxUnknown};
    std::size_t depth = 0;
    OpenAction open;
    /// The list of the open `VehicleReport`.
    Texts* services = nullptr;
    /// Where the text of the element at `textDepth` goes; null while no text is wanted.
    Texts* textList = nullptr;
    std::size_t textDepth = 0;
    std::string textSoFar;
    std::size_t charged = 0;
};

} // namespace Config
