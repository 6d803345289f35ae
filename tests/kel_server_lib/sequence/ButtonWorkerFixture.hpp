#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kel_server_lib/sequence/ButtonWorker.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

/// Runs the worker on the test's own thread; what happens between its passes happens in the
/// clock's sleep.
class ButtonWorkerFixture : public SequenceFixture {
protected:
    ButtonWorkerFixture() {
        handler.f1.scriptName = L"A.xml";
        handler.f1.api = api;
        handler.f2.scriptName = L"B.xml";
        handler.f2.api = api;
        writeScript("A.xml", "");
        writeScript("B.xml", "");
        writeF1Sensor("1000\n");
        writeF2Sensor("1000\n");
    }

    /// Runs `what` after pass number `pass`, counted from 1.
    void afterPass(int pass, std::function<void()> what) { plan[pass] = std::move(what); }

    /// Lets the worker make this many passes and notes the LED after each.
    void watch(int button, int passes) {
        afterPass(passes, [this] { handler.raiseStop(); });
        clock.onSleep([this](auto) {
            colours.push_back(ledColour());
            if (const auto step = plan.find(++pass); step != plan.end()) {
                step->second();
            }
        });
        buttonWorker(handler, button);
    }

    std::map<int, std::function<void()>> plan;
    std::vector<std::string> colours;
    int pass = 0;
};

} // namespace Quarlen::Tests
