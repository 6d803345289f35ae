#pragma once

namespace Quarlen {

class ServerHandlerSequence;

/// Body of a button's thread: watches the button's proximity sensor and runs the bound sequence
/// when a hand is held in front of it. `button` is 1 for F1, any other value for F2. Returns when a
/// stop is raised or the button's thread is told to end, or at once when there is no sensor.
/// Exceptions of a sequence run, or of a sensor line that is no number, are not caught.
void buttonWorker(ServerHandlerSequence& handler, int button);

} // namespace Quarlen
