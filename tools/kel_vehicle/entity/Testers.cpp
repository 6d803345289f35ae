#include "tools/kel_vehicle/entity/Testers.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace Quarlen::KelVehicle {

namespace {

/// One question to several testers.
class AliveCheck : public std::enable_shared_from_this<AliveCheck> {
public:
    AliveCheck(EventLoop& loop, std::function<void()> done) : loop(loop), done(std::move(done)) {}

    void ask(const Connections& asked, const std::optional<std::chrono::milliseconds>& limit) {
        for (const auto& connection : asked) {
            silent.emplace(connection.get(), connection);
        }
        if (limit) {
            watch = loop.watchAt(loop.clock().now() + *limit,
                                 [self = shared_from_this()] { self->endSilent(); });
        }
        for (const auto& connection : asked) {
            connection->askAlive(
                [self = shared_from_this(), key = connection.get()] { self->noteOutcome(key); });
        }
    }

private:
    void noteOutcome(const TesterConnection* connection) {
        silent.erase(connection);
        if (silent.empty()) {
            loop.cancelWatch(watch);
            done();
        }
    }

    void endSilent() {
        const auto late = silent;
        for (const auto& [key, weak] : late) {
            if (const auto connection = weak.lock()) {
                connection->finish(L"the alive check was not answered in its time "
                                   L"(T_TCP_Alive_Check)");
            }
        }
    }

    EventLoop& loop;
    const std::function<void()> done;
    std::map<const TesterConnection*, std::weak_ptr<TesterConnection>> silent;
    Schedule::Key watch{};
};

} // namespace

void Testers::remove(const TesterConnection& connection) {
    std::erase_if(open, [&](const auto& other) { return other.get() == &connection; });
}

Connections Testers::active() const {
    Connections found;
    std::copy_if(open.begin(), open.end(), std::back_inserter(found),
                 [](const auto& connection) { return connection->tester().has_value(); });
    return found;
}

std::shared_ptr<TesterConnection> Testers::holderOf(std::uint16_t tester) const {
    const auto found = std::find_if(open.begin(), open.end(), [&](const auto& connection) {
        return connection->tester() == tester;
    });
    return found == open.end() ? nullptr : *found;
}

void checkAlive(EventLoop& loop, const Connections& asked,
                const std::optional<std::chrono::milliseconds>& limit, std::function<void()> done) {
    if (asked.empty()) {
        done();
        return;
    }
    std::make_shared<AliveCheck>(loop, std::move(done))->ask(asked, limit);
}

} // namespace Quarlen::KelVehicle
