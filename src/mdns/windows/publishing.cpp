#include "mdns/publishing.h"

#include "mdns/embeddedpublisher.h"

namespace mdns {
namespace {

class EmbeddedPublishing : public Publishing {
public:
    EmbeddedPublishing(const std::string& instance, std::uint16_t port,
                       const AnnounceOptions& options)
        : Publishing(instance, options),
          m_embedded(m_names, kServiceType, port, m_interfaces,
                     [this](const AnnouncementStatus& status) { m_status.set(status); }) {}

private:
    EmbeddedPublisher m_embedded;
};

}  // namespace

std::unique_ptr<Publishing> startPublishing(const std::string& instance, std::uint16_t port,
                                            const AnnounceOptions& options) {
    return std::make_unique<EmbeddedPublishing>(instance, port, options);
}

}  // namespace mdns
