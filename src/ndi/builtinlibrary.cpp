#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

#include "ndi/sendlibrary.h"
#include "ndi/wire/sourcename.h"
#include "support/log.h"

namespace ndi {
namespace {

constexpr std::size_t kMaxDigits = 4;

bool isBlank(const char* text) {
    return std::string(text).find_first_not_of(" \t\r\n") == std::string::npos;
}

/// Handles are numbers that are never reused: a stale handle never refers to a newer source.
class BuiltInLibrary : public SendLibrary {
public:
    explicit BuiltInLibrary(std::function<SourceParts()> parts) : m_parts(std::move(parts)) {
        // The logger outlives the sources that are still open when the program ends.
        HV::SpdlogApplication::instance();
    }

    NDIlib_send_instance_t create(const NDIlib_send_create_t* settings) override {
        if (settings == nullptr || settings->p_ndi_name == nullptr ||
            isBlank(settings->p_ndi_name)) {
            HV_ERROR("source not created: no {} given", settings == nullptr ? "settings" : "name");
            return nullptr;
        }
        const std::string name = settings->p_ndi_name;
        const std::shared_ptr<Source> source = open(name, settings->clock_video);
        if (source == nullptr) {
            rememberRefused(name);
            return nullptr;
        }
        const std::uintptr_t number = ++m_lastNumber;
        {
            const std::lock_guard lock(m_mutex);
            m_sources.emplace(number, source);
        }
        {
            const std::lock_guard lock(m_statusMutex);
            m_observed.emplace(number, source);
        }
        // An opaque number; it is never dereferenced.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        return reinterpret_cast<NDIlib_send_instance_t>(number);
    }

    void send(NDIlib_send_instance_t instance, const NDIlib_video_frame_v2_t* frame) override {
        if (const auto source = find(instance, "NDIlib_send_send_video_v2")) {
            source->send(frame);
        }
    }

    void hint(NDIlib_send_instance_t instance, const support::DirtyRows& dirty) override {
        if (const auto source = find(instance, "hintDirtyRows")) {
            source->hint(dirty);
        }
    }

    [[nodiscard]] bool readsAlpha() const override { return false; }

    void destroy(NDIlib_send_instance_t instance) override {
        const auto source = find(instance, "NDIlib_send_destroy");
        if (source == nullptr) {
            return;
        }
        {
            const std::lock_guard lock(m_mutex);
            m_sources.erase(reinterpret_cast<std::uintptr_t>(instance));
        }
        {
            const std::lock_guard lock(m_statusMutex);
            m_observed.erase(reinterpret_cast<std::uintptr_t>(instance));
        }
        source->close();
    }

    [[nodiscard]] SourceStatus status(NDIlib_send_instance_t instance) override {
        std::shared_ptr<Source> source;
        {
            const std::lock_guard lock(m_statusMutex);
            const auto found = m_observed.find(reinterpret_cast<std::uintptr_t>(instance));
            if (found == m_observed.end()) {
                return {};
            }
            source = found->second;
        }
        return source->status();
    }

    void configure(OutputSettings settings) override {
        const std::lock_guard lock(m_mutex);
        m_settings = std::move(settings);
        m_configured = true;
    }

private:
    /// A caller whose name was refused tries it again with a number behind it; with m_mutex held.
    [[nodiscard]] NameSequence sequenceOf(const std::string& name) const {
        const std::size_t base = m_refusedName.size();
        const bool numbered = base > 0 && name.size() > base && name.size() <= base + kMaxDigits &&
                              name.compare(0, base, m_refusedName) == 0 &&
                              name.find_first_not_of("0123456789", base) == std::string::npos;
        return numbered ? NameSequence{m_refusedName,
                                       static_cast<unsigned>(std::stoi(name.substr(base)))}
                        : NameSequence{name, 0};
    }

    void applyTo(ServerLimits& limits) {
        const std::lock_guard lock(m_mutex);
        if (!m_configured) {
            return;
        }
        limits.interfaces = m_settings.networkInterfaces;
        for (const std::string& entry : m_settings.allowedReceivers) {
            if (const auto range = AddressRange::parse(entry)) {
                limits.allowed.push_back(*range);
            }
        }
        limits.receivers = m_settings.maximumReceivers;
        limits.firstPort = m_settings.firstPort;
        limits.lastPort = static_cast<std::uint16_t>(std::min(65'535, limits.firstPort + 999));
    }

    void rememberRefused(const std::string& name) {
        const std::lock_guard lock(m_mutex);
        if (sequenceOf(name).number == 0) {
            m_refusedName = name;
        }
    }

    [[nodiscard]] std::shared_ptr<Source> open(const std::string& name, bool clocked) {
        if (isOurs(wire::instanceName(wire::machineName(), name))) {
            HV_WARN("source {} not created: this program already has a source of that name", name);
            return nullptr;
        }
        try {
            SourceSettings settings;
            settings.clocked = clocked;
            {
                const std::lock_guard lock(m_mutex);
                settings.names = sequenceOf(name);
                settings.onStatusChange = m_settings.onStatusChange;
                settings.colours = m_settings.colours;
            }
            SourceParts parts = m_parts();
            applyTo(parts.limits);
            return Source::open(settings, std::move(parts));
        } catch (const std::exception& error) {
            // Out of threads or descriptors; exceptions must not reach a C caller.
            HV_ERROR("source {} not created: {}", name, error.what());
            return nullptr;
        }
    }

    [[nodiscard]] std::shared_ptr<Source> find(NDIlib_send_instance_t instance,
                                               const char* caller) {
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_sources.find(reinterpret_cast<std::uintptr_t>(instance));
            if (found != m_sources.end()) {
                return found->second;
            }
        }
        if (const auto more = m_misuse.allows()) {
            HV_ERROR("{} was called with {} source and does nothing{}", caller,
                     instance == nullptr ? "no" : "a destroyed or unknown", *more);
        }
        return nullptr;
    }

    [[nodiscard]] bool isOurs(const std::string& instance) {
        const std::lock_guard lock(m_mutex);
        return std::any_of(m_sources.begin(), m_sources.end(),
                           [&](const auto& entry) { return entry.second->instance() == instance; });
    }

    const std::function<SourceParts()> m_parts;
    std::mutex m_mutex;
    std::map<std::uintptr_t, std::shared_ptr<Source>> m_sources;
    std::atomic<std::uintptr_t> m_lastNumber{0};
    OutputSettings m_settings;
    bool m_configured = false;
    std::string m_refusedName;  ///< Of the last create() that failed, unless it was a numbered one.

    // The same sources, for status() alone: send() must not wait for it.
    std::mutex m_statusMutex;
    std::map<std::uintptr_t, std::shared_ptr<Source>> m_observed;
    support::LogLimit m_misuse;
};

}  // namespace

std::unique_ptr<SendLibrary> makeBuiltInLibrary(std::function<SourceParts()> parts) {
    return std::make_unique<BuiltInLibrary>(std::move(parts));
}

}  // namespace ndi
