#include "capture/x11/rootdamage.h"

namespace capture::x11 {

using support::x11::Owned;

std::unique_ptr<RootDamage> RootDamage::watch(support::x11::Connection& connection) {
    const auto* extension = connection.extension(xcb_damage_id);
    if (extension == nullptr || connection.extension(xcb_xfixes_id) == nullptr) {
        return nullptr;
    }
    // Both extensions reject every request until the client has named its version.
    auto* const c = connection.get();
    const auto damageCookie = xcb_damage_query_version(c, 1, 1);
    const auto fixesCookie = xcb_xfixes_query_version(c, 2, 0);
    const Owned<xcb_damage_query_version_reply_t> damage(
        xcb_damage_query_version_reply(c, damageCookie, nullptr));
    const Owned<xcb_xfixes_query_version_reply_t> fixes(
        xcb_xfixes_query_version_reply(c, fixesCookie, nullptr));
    if (!damage || !fixes || fixes->major_version < 2) {
        return nullptr;
    }
    std::unique_ptr<RootDamage> result(new RootDamage(connection, extension->first_event));
    // One event per take(), however much is drawn: take() fetches the rectangles.
    const auto created = xcb_damage_create_checked(c, result->m_damage, connection.root(),
                                                   XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    const auto region = xcb_xfixes_create_region_checked(c, result->m_region, 0, nullptr);
    const Owned<xcb_generic_error_t> damageError(xcb_request_check(c, created));
    const Owned<xcb_generic_error_t> regionError(xcb_request_check(c, region));
    return damageError || regionError || !connection.alive() ? nullptr : std::move(result);
}

RootDamage::RootDamage(support::x11::Connection& connection, std::uint8_t firstEvent)
    : m_connection(connection),
      m_notifyEvent(static_cast<std::uint8_t>(firstEvent + XCB_DAMAGE_NOTIFY)),
      m_damage(xcb_generate_id(connection.get())),
      m_region(xcb_generate_id(connection.get())) {}

void RootDamage::handleEvent(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7F) == m_notifyEvent) {
        m_pending = true;
    }
}

bool RootDamage::take(std::vector<xcb_rectangle_t>& damage) {
    requestRegion();
    return receiveRegion(damage);
}

void RootDamage::requestRegion() {
    auto* const c = m_connection.get();
    xcb_damage_subtract(c, m_damage, XCB_NONE, m_region);
    m_fetch = xcb_xfixes_fetch_region(c, m_region);
    m_pending = false;
}

bool RootDamage::receiveRegion(std::vector<xcb_rectangle_t>& damage) {
    damage.clear();
    const Owned<xcb_xfixes_fetch_region_reply_t> reply(
        xcb_xfixes_fetch_region_reply(m_connection.get(), m_fetch, nullptr));
    if (!reply) {
        return false;
    }
    const auto* first = xcb_xfixes_fetch_region_rectangles(reply.get());
    damage.assign(first, first + xcb_xfixes_fetch_region_rectangles_length(reply.get()));
    return true;
}

void RootDamage::discard() {
    xcb_damage_subtract(m_connection.get(), m_damage, XCB_NONE, XCB_NONE);
    m_pending = false;
}

}  // namespace capture::x11
