#include <functional>
#include <sstream>
#include <stdexcept>

#include <gmock/gmock.h>

#include "kel_server/ServerApplication.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The last step of the start but one: the scripts of the two buttons.
class StartButtons : public Tests::ApplicationFixture {
protected:
    std::string printedByRun() {
        ServerApplication application(options, environment);
        application.run();
        return printed();
    }

    void configureButtons() {
        api->serverConfiguration->f1Sequence = L"One.xml";
        api->serverConfiguration->f2Sequence = L"Two.xml";
    }

    /// The traces of the buttons' start, in their order.
    static std::vector<std::wstring> startTraces(const Tests::TraceCapture& traces) {
        auto texts = traces.texts();
        std::erase_if(texts,
                      [](const std::wstring& text) { return !text.starts_with(L"-> start F"); });
        return texts;
    }
};

TEST_F(StartButtons, BindsTheButtonsF1First) {
    configureButtons();
    const Tests::TraceCapture traces;

    EXPECT_THAT(printedByRun(), testing::EndsWith("\nPress F1 to run sequence: One.xml\n"
                                                  "Press F2 to run sequence: Two.xml\n"));

    EXPECT_THAT(startTraces(traces),
                ElementsAre(L"-> start F1 script thread", L"-> start F2 script thread"));
}

TEST_F(StartButtons, BindsEachButtonToItsOwnScript) {
    configureButtons();
    ServerApplication application(options, environment);

    ASSERT_EQ(application.run(), 0);

    const auto& handler = dynamic_cast<ServerHandlerSequence&>(*api->serverHandler);
    EXPECT_EQ(handler.f1.scriptName, L"One.xml");
    EXPECT_EQ(handler.f2.scriptName, L"Two.xml");
}

/// Tied to another stream it makes one write there fail: the first one behind a certain text.
class FailingFlush : public std::stringbuf {
public:
    FailingFlush(std::ostringstream& output, std::string behind, std::function<void()> fail)
        : output(output), behind(std::move(behind)), fail(std::move(fail)) {
        stream.exceptions(std::ios::badbit);
        output.tie(&stream);
    }

protected:
    int sync() override {
        if (output.str().ends_with(behind)) {
            output.tie(nullptr);
            fail();
        }
        return 0;
    }

private:
    std::ostringstream& output;
    std::string behind;
    std::function<void()> fail;
    std::ostream stream{this};
};

TEST_F(StartButtons, TriesNoOtherButtonAndGoesOnWhenBindingOneFails) {
    configureButtons();
    options.nonInteractive = false;
    const Tests::TraceCapture traces;
    const FailingFlush failure(output, "Press F1 to run sequence: One.xml",
                               [] { throw Kel_cpp::KelApiException(L"broken", -7); });

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(startTraces(traces), IsEmpty());

    EXPECT_THAT(printed(),
                HasSubstr(std::string("Press F1 to run sequence: One.xml") +
                          "Exception caught: broken code: -7\nEnter 'q' and Enter to exit\n"));
}

TEST_F(StartButtons, LetsAnotherExceptionOfTheButtonsPass) {
    configureButtons();
    const FailingFlush failure(output, "Press F1 to run sequence: One.xml",
                               [] { throw std::runtime_error("other"); });

    EXPECT_THROW(runAndDestroy(), std::runtime_error);
}

TEST_F(StartButtons, BindsF1Alone) {
    api->serverConfiguration->f1Sequence = L"One.xml";
    const Tests::TraceCapture traces;

    EXPECT_THAT(printedByRun(), testing::EndsWith("\nserver device: Unknown\n"
                                                  "Press F1 to run sequence: One.xml\n"));

    EXPECT_THAT(startTraces(traces), ElementsAre(L"-> start F1 script thread"));
}

TEST_F(StartButtons, BindsF2Alone) {
    api->serverConfiguration->f2Sequence = L"Two.xml";
    const Tests::TraceCapture traces;

    EXPECT_THAT(printedByRun(), testing::EndsWith("\nserver device: Unknown\n"
                                                  "Press F2 to run sequence: Two.xml\n"));

    EXPECT_THAT(startTraces(traces), ElementsAre(L"-> start F2 script thread"));
}

} // namespace

} // namespace Quarlen::Tests
