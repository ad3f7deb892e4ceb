#include "mdns/publishing.h"

#include "mdns/embeddedpublisher.h"

namespace mdns {
namespace {

class EmbeddedPublishing : public Publishing {
public:
    EmbeddedPublishing(const std::string& instance, std::uint16_t port,
                       const AnnounceSettings& settings)
        : Publishing(instance, settings.onChange),
          m_embedded(instance, kServiceType, port,
                     [this](PublishState state, const std::string& reason) {
                         m_status.set(state, reason);
                     }) {}

private:
    EmbeddedPublisher m_embedded;
};

}  // namespace

std::unique_ptr<Publishing> startPublishing(const std::string& instance, std::uint16_t port,
                                            const AnnounceSettings& settings) {
    return std::make_unique<EmbeddedPublishing>(instance, port, settings);
}

}  // namespace mdns
