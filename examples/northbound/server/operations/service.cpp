#include "server/operations/service.h"

#include "nbihost/standalone.h"
#include "nbiutil/nbitaskmgr.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "service";
constexpr std::chrono::hours SWEEP(1);
constexpr int RENEWALS = 3;  // in a lease

/// The element under \p settings' root: each file that the catalogue names is looked up there.
Element ElementOf(const Settings& settings, Catalogue catalogue)
{
    const std::string root = settings.m_ElementRoot == "/" ? "" : settings.m_ElementRoot;
    for (Column& column : catalogue.m_Columns) column.m_File.insert(0, root);
    return {Machine(root + "/proc/net/dev", root + "/sys/class/net", settings.m_Book.m_Elements),
            std::move(catalogue)};
}

/// Whether \p name is the file of a collection that is under way.
bool IsRunning(const CollectionBook& book, const std::string& name)
{
    constexpr std::size_t UUID = 36;
    const std::string end = ".csv.part";
    if (name.size() < UUID + end.size()) return false;
    const auto state = book.FindHeld(name.substr(name.size() - end.size() - UUID, UUID));
    return state && state->m_Phase != CollectionPhase::ENDED;
}

}  // namespace

Service::Service(const Settings& settings, Catalogue catalogue, ConfigEditor& editor, StopSignal& stop,
                 std::function<void()> requestStop, std::function<unsigned long()> linesLost,
                 std::unique_ptr<CollectionBook> pShared)
    : m_Element(ElementOf(settings, std::move(catalogue))),
      m_Sessions(settings.m_Anonymous),
      m_Dispatcher(m_Sessions, settings.m_nHugeTaskLimit),
      m_pBook(pShared ? std::move(pShared) : std::make_unique<LocalBook>()),
      m_Book(*m_pBook),
      m_PartFiles(FilesOf(settings)),
      m_pRunner(MakeRunner(settings, stop)),
      m_Runner(*m_pRunner),
      m_Packer(m_PartFiles.OwnFolder()),
      m_Files(m_PartFiles.OwnFolder(), [this](const std::string& name) { return IsRunning(m_Book, name); }),
      m_Operations(Inventory(m_Element), Columns(m_Element.m_Catalogue), ReadCounters(m_Element),
                   Collect(m_Element, m_Runner, [this] { MakeRoom(); }), Cancel(m_Book), HugeTasks(m_Runner),
                   Stop(std::move(requestStop)), PublicKey(), SendSecret(), Challenge(m_LoginGate),
                   Login(m_Sessions, m_LoginGate), Logout(m_Sessions), Sessions(m_Sessions),
                   Pack(m_Packer, [this] { MakeRoom(); }), SetItem(editor), Pools(std::move(linesLost)),
                   Files(m_Files), Clean([this] { return Sweep(); }), Order(m_Element, m_Runner),
                   Await(m_Element, m_Book, m_PartFiles, stop), Orders(m_Book), Servers(m_Book),
                   Fetch(m_Book, m_PartFiles))
{
    Apply(settings);
}

std::unique_ptr<CollectionRunner> Service::MakeRunner(const Settings& settings, StopSignal& stop)
{
    const CollectionEnvironment environment{m_Element, m_Book, stop, m_PartFiles};
    const auto onEnd = [this] { MakeRoom(); };
    if (settings.m_Book.m_Connection.empty()) {
        return std::make_unique<CollectionRunner>(m_Dispatcher.Agent(), environment, onEnd);
    }
    BookTimes times;
    times.m_Renewal = std::chrono::milliseconds(settings.m_Book.m_Lease) / RENEWALS;
    auto pShared = std::make_unique<SharedRunner>(m_Dispatcher.Agent(), environment, onEnd, times);
    m_pSharedRunner = pShared.get();
    return pShared;
}

void Service::Join(const std::string& address)
{
    if (m_pSharedRunner == nullptr) return;
    m_Book.SetAddress(address);
    m_pSharedRunner->Begin();
}

void Service::Leave()
{
    if (m_pSharedRunner != nullptr) m_pSharedRunner->End();
}

void Service::Apply(const Settings& settings)
{
    NS_UTIL::TaskPoolMgr::Init(settings.m_nHugeTaskLimit);
    m_Book.SetLimits({settings.m_nHugeTaskLimit, settings.m_nPerPortLimit});
    m_Sessions.SetLimits(settings.m_Sessions);
    std::lock_guard<std::mutex> guard(m_RetentionLock);
    m_Retention = settings.m_Retention;
}

void Service::TakeOver()
{
    const std::size_t nBack = m_Packer.RecoverAll();
    if (nBack > 0) {
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE,
                     "%zu files that a server was packing when it was killed are back", nBack);
    }
    Sweep();
    std::size_t nParts = 0;
    for (const CollectionFile& file : m_Files.List()) nParts += file.m_State == "part" ? 1 : 0;
    if (nParts > 0) {
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%zu files of collections that did not end are kept",
                     nParts);
    }
}

void Service::LogState()
{
    const std::vector<CollectionFile> files = m_Files.List();
    std::uint64_t nBytes = 0;
    for (const CollectionFile& file : files) nBytes += file.m_nBytes;
    const CollectionLimits limits = m_Book.Limits();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE,
                 "state: %zu collections run, limits %d and %d; %zu sessions; %zu files of %llu bytes",
                 m_Runner.Running().size(), limits.m_nOverall, limits.m_nPerPort, m_Sessions.List().size(),
                 files.size(), static_cast<unsigned long long>(nBytes));
}

Retention Service::Kept()
{
    std::lock_guard<std::mutex> guard(m_RetentionLock);
    return m_Retention;
}

Swept Service::Sweep()
{
    std::unique_lock<std::mutex> noPacking = m_Packer.Pause();
    return m_Files.Sweep(Kept());
}

void Service::Schedule(Timetable& timetable)
{
    timetable.Add(SWEEP, [this] { SweepUnlessPacking(); });
}

void Service::MakeRoom()
{
    if (Kept().m_nBytes > 0) SweepUnlessPacking();
}

void Service::SweepUnlessPacking()
{
    std::unique_lock<std::mutex> noPacking = m_Packer.TryPause();
    if (!noPacking.owns_lock()) return;
    try {
        m_Files.Sweep(Kept());
    } catch (const std::exception& e) {  // whoever has collected or packed is not to blame
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "no room was made: %s", e.what());
    }
}

}  // namespace northbound
