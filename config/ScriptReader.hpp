#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/ScriptObjects.hpp"
#include "xml/Fault.hpp"
#include "xml/Parser.hpp"

namespace Config {

/// Makes the objects of a script file while it is parsed: a `CfxKelServerScript`, or a `CfxUnknown`
/// when the root element has another name. The parser of the file calls this receiver on its
/// thread; `root` then shares the ownership of the objects with the caller. Unknown attributes and
/// unknown elements inside an action are skipped and cost no memory. Throws `Xml::Fault` for an
/// invalid value, for more objects than `maxMemory` and for a text longer than `maxTextSize`.
class ScriptReader : public Xml::Receiver {
public:
    /// A script that is larger than one may be.
    struct TooMuch : Xml::Fault {
        using Fault::Fault;
    };

    /// For the parser of the file. Tags and attributes have no bound of their own: what the reader
    /// does not know costs nothing, and `maxMemory` bounds what it makes of the rest.
    static constexpr Xml::Limits limits{
        // Read in a few seconds.
        .size = std::size_t{64} * 1024 * 1024,
        // A script has four; the parser keeps the names of all that are open.
        .depth = 256,
        // Has to be in memory as a whole.
        .markup = std::size_t{4} * 1024 * 1024,
        // A script must not cost the device its memory.
        .memory = std::size_t{32} * 1024 * 1024};

    /// Bytes of all objects and their texts.
    static constexpr std::size_t maxMemory = std::size_t{24} * 1024 * 1024;
    /// Bytes in UTF-8. Limited because the runtime keeps a text, for example the last status.
    static constexpr std::size_t maxTextSize = std::size_t{256} * 1024;

    void begin(std::string_view element, const Xml::Attributes& attributes) override;
    void end() override;
    void text(std::string_view part) override;

    /// Null before the file has been read.
    [[nodiscard]] Ref<ConfigObject> root() const { return rootObject; }

private:
    using Texts = std::vector<std::wstring>;

    /// Destinations of the child elements of the open action; null when it does not take them.
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
    /// One shared object for all unknown elements, so that many of them cost only their list
    /// entries.
    Ref<ConfigObject> unknown{new CfxUnknown};
    std::size_t depth = 0;
    OpenAction open;
    /// The list of the open `VehicleReport`.
    Texts* services = nullptr;
    /// Destination of the text of the element at `textDepth`; null while text is ignored.
    Texts* textList = nullptr;
    std::size_t textDepth = 0;
    std::string textSoFar;
    std::size_t charged = 0;
};

} // namespace Config
