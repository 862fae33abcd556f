#include "sim/service.hpp"

#include "sim/names.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

// The thread sleeps in poll() on the bus connection and on an eventfd. A caller puts a command into
// the queue, writes the eventfd and waits for the command's end. A command that did not get its
// turn in time is withdrawn, so that its work, which may refer to the caller's variables, never
// runs after the caller has gone; one that runs already is waited for, since each single operation
// on the bus is bounded by the library.

namespace sim
{
namespace
{

constexpr std::chrono::seconds turnLimit(30);

int pollTime(const std::optional<Clock::time_point>& wake)
{
    if (!wake)
    {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*wake - Clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, 60'000));
}

} // namespace

class Service::Runner
{
    struct Command
    {
        enum class State
        {
            Waiting,
            Running,
            Done,
            Withdrawn,
        };

        std::function<void(Player&)> work;
        State state = State::Waiting;
        std::exception_ptr failure;
    };

  public:
    Runner(std::string busAddress, Profile profile)
        : address(std::move(busAddress)), profile_(profile), player_(std::move(profile), journal_),
          wakeFd_(check(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "make an eventfd"))
    {
        thread_ = std::thread([this] { loop(); });
    }

    ~Runner()
    {
        ending_ = true;
        wake();
        thread_.join();
        close(wakeFd_);
    }

    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    void run(std::function<void(Player&)> work);

    const Profile& profile() const
    {
        return profile_;
    }
    Journal& journal()
    {
        return journal_;
    }

    const std::string address;

  private:
    void loop();
    void runCommands();
    void sleep();
    void wake();

    const Profile profile_;
    Journal journal_;
    Player player_;
    const int wakeFd_;
    std::atomic<bool> ending_ = false;
    std::mutex mutex_;
    std::condition_variable finished_;
    std::deque<std::shared_ptr<Command>> commands_;
    std::thread thread_;
};

void Service::Runner::run(std::function<void(Player&)> work)
{
    const auto command = std::make_shared<Command>();
    command->work = std::move(work);
    std::unique_lock lock(mutex_);
    commands_.push_back(command);
    wake();
    const auto done = [&] { return command->state == Command::State::Done; };
    if (!finished_.wait_for(lock, turnLimit, done) && command->state == Command::State::Waiting)
    {
        command->state = Command::State::Withdrawn;
        throw Timeout("the simulated service " + profile_.busName + " did not get to an operation");
    }
    finished_.wait(lock, done);
    if (command->failure)
    {
        std::rethrow_exception(command->failure);
    }
}

void Service::Runner::wake()
{
    const std::uint64_t one = 1;
    // A full counter wakes as well.
    [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
}

void Service::Runner::loop()
{
    while (!ending_)
    {
        runCommands();
        player_.process();
        sleep();
    }
    player_.disconnect();
}

void Service::Runner::runCommands()
{
    std::unique_lock lock(mutex_);
    while (!commands_.empty())
    {
        const auto command = commands_.front();
        commands_.pop_front();
        if (command->state == Command::State::Withdrawn)
        {
            continue;
        }
        command->state = Command::State::Running;
        lock.unlock();
        try
        {
            command->work(player_);
        }
        catch (...)
        {
            command->failure = std::current_exception();
        }
        lock.lock();
        command->state = Command::State::Done;
        finished_.notify_all();
    }
}

void Service::Runner::sleep()
{
    std::array<pollfd, 2> ready{{{wakeFd_, POLLIN, 0}, {player_.descriptor(), 0, 0}}};
    ready[1].events = player_.pollEvents();
    poll(ready.data(), ready.size(), pollTime(player_.wakeTime()));
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(wakeFd_, &count, sizeof count);
}

Service::Service(std::string address, Profile profile)
    : runner_(std::make_unique<Runner>(std::move(address), std::move(profile)))
{
}

Service::~Service() = default;

void Service::perform(const std::function<void(Player&)>& work)
{
    runner_->run(work);
}

void Service::start()
{
    perform([this](Player& player) { player.connect(runner_->address); });
}

void Service::stop()
{
    perform([](Player& player) { player.disconnect(); });
}

bool Service::running()
{
    bool answer = false;
    perform([&](Player& player) { answer = player.connected(); });
    return answer;
}

void Service::load(Objects objects)
{
    perform([&](Player& player) { player.load(std::move(objects)); });
}

void Service::addObject(const std::string& path, const Interfaces& interfaces)
{
    perform([&](Player& player) { player.addObject(path, interfaces); });
}

void Service::changeProperties(const std::string& path, const std::string& interface,
                               const Properties& properties)
{
    perform([&](Player& player) { player.changeProperties(path, interface, properties); });
}

void Service::removeObject(const std::string& path, const std::vector<std::string>& interfaces)
{
    perform([&](Player& player) { player.removeObject(path, interfaces); });
}

void Service::emitSignal(const Signal& signal)
{
    perform([&](Player& player) { player.emitSignal(signal); });
}

Objects Service::objects()
{
    Objects copy;
    perform([&](Player& player) { copy = player.inventory().objects(); });
    return copy;
}

std::optional<Value> Service::property(const std::string& path, const std::string& interface,
                                       const std::string& name)
{
    std::optional<Value> copy;
    perform(
        [&](Player& player)
        {
            const Value* value = findProperty(player.inventory().objects(), path, interface, name);
            if (value != nullptr)
            {
                copy = *value;
            }
        });
    return copy;
}

Associations Service::associationsOf(const std::string& path)
{
    const auto value = property(path, names::associationDefinitions, names::associations);
    return value ? toAssociations(*value) : Associations();
}

bool Service::waitForAssociations(const std::string& path, const Associations& expected,
                                  std::chrono::milliseconds limit)
{
    return journal().waitUntil([&] { return associationsOf(path) == expected; }, limit);
}

void Service::addFault(const Fault& fault)
{
    perform([&](Player& player) { player.faults().add(fault); });
}

void Service::clearFaults()
{
    perform([](Player& player) { player.faults().clear(); });
}

const Profile& Service::profile() const
{
    return runner_->profile();
}

Journal& Service::journal()
{
    return runner_->journal();
}

} // namespace sim
