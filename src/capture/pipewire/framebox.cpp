#include "capture/pipewire/framebox.h"

#include <algorithm>
#include <utility>

namespace capture::pipewire {

pw_buffer* FrameBox::put(pw_buffer* buffer, const Image& image, const std::vector<Damage>* damage) {
    pw_buffer* old = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        const bool sameShape = uprightWidth(m_image) == uprightWidth(image) &&
                               uprightHeight(m_image) == uprightHeight(image) &&
                               m_image.transform == image.transform;
        old = std::exchange(m_buffer, buffer);
        m_image = image;
        m_still = {};
        if (!sameShape) {
            m_dirty.assign(static_cast<std::size_t>(uprightHeight(image)), {});
            m_touched = {};
            m_lastRead.reset();
        }
        if (damage != nullptr) {
            mark(*damage);
        } else {
            markAll();
        }
        m_unread = true;
    }
    m_arrived.notify_one();
    return old;
}

void FrameBox::putPointer(const Pointer& pointer, const PointerShape* shape) {
    {
        const std::lock_guard lock(m_mutex);
        const bool same = pointer.visible == m_pointer.visible && pointer.x == m_pointer.x &&
                          pointer.y == m_pointer.y;
        m_pointer = pointer;
        if (same && (shape == nullptr || *shape == m_shape)) {
            return;
        }
        if (shape != nullptr) {
            m_shape = *shape;
        }
        m_pointerChanged = true;
    }
    m_arrived.notify_one();
}

void FrameBox::markAll() {
    m_damageKnown = false;
    std::fill(m_dirty.begin(), m_dirty.end(), Columns{0, uprightWidth(m_image)});
    m_touched = {0, static_cast<int>(m_dirty.size())};
}

void FrameBox::mark(const std::vector<Damage>& damage) {
    for (const Damage& rectangle : damage) {
        const auto span = uprightSpan(m_image, rectangle);
        const int begin = m_touched.count > 0 ? std::min(m_touched.first, span.first) : span.first;
        const int end = std::max(m_touched.first + m_touched.count, span.first + span.count);
        m_touched = {begin, end - begin};
        for (auto row = m_dirty.begin() + span.first;
             span.left < span.right && row != m_dirty.begin() + span.first + span.count; ++row) {
            *row = row->right == 0
                       ? Columns{span.left, span.right}
                       : Columns{std::min(row->left, span.left), std::max(row->right, span.right)};
        }
    }
}

void FrameBox::withdraw(const pw_buffer* buffer) {
    const std::lock_guard lock(m_mutex);
    if (m_buffer == buffer) {
        m_still = copyOfFrame();
        m_buffer = nullptr;
        m_image = {};
        m_unread = false;
        m_lastRead.reset();  // What comes next has nothing to build on.
    }
}

void FrameBox::show(StillFrame frame) {
    {
        const std::lock_guard lock(m_mutex);
        if (hasFrame() || frame.pixels.empty()) {
            return;
        }
        m_still = std::move(frame);
        m_image = {m_still.pixels.data(), static_cast<std::size_t>(m_still.width) * 4,
                   m_still.width,         m_still.height,
                   PixelOrder::Bgrx,      Transform::None};
        m_dirty.assign(static_cast<std::size_t>(m_still.height), {});
        markAll();
        m_unread = true;
        m_lastRead.reset();
    }
    m_arrived.notify_one();
}

StillFrame FrameBox::still() const {
    const std::lock_guard lock(m_mutex);
    return hasFrame() ? copyOfFrame() : m_still;
}

StillFrame FrameBox::copyOfFrame() const {
    StillFrame copy{uprightWidth(m_image), uprightHeight(m_image), {}};
    copy.pixels.resize(static_cast<std::size_t>(copy.width) *
                       static_cast<std::size_t>(copy.height) * 4);
    copyUpright(m_image, {0, 0, copy.width, copy.height}, {0, copy.height, 0, copy.width},
                copy.pixels.data());
    return copy;
}

void FrameBox::forgetReads() {
    const std::lock_guard lock(m_mutex);
    m_lastRead.reset();
}

void FrameBox::clear() {
    const std::lock_guard lock(m_mutex);
    m_buffer = nullptr;
    m_image = {};
    m_still = {};
    m_unread = false;
    m_lastRead.reset();
    m_pointer = {};
}

bool FrameBox::read(const Request& request, support::DirtyRows& dirtyRows) {
    const std::lock_guard lock(m_mutex);
    if (!hasFrame()) {
        return false;
    }
    const Cut cut = cutRectangle(request.x, request.y, request.width, request.height,
                                 uprightWidth(m_image), uprightHeight(m_image));
    const Read read = {cut, request.width, request.dest};
    const bool builds = m_lastRead == read;
    if (builds && !m_unread && !m_pointerChanged) {
        return false;
    }
    const DrawnPointer::Frame frame = {request.dest, static_cast<std::size_t>(cut.width) * 4,
                                       cut.width, cut.height};
    const support::RowSpan pointerBefore = m_drawn.part();
    if (builds) {
        m_drawn.remove(frame);
    } else {
        m_drawn.forget();
    }
    // In a frame whose rows were cut short they are not where the frame's rows are.
    dirtyRows.known = builds && m_damageKnown && cut.width == request.width;
    if (!builds) {
        markAll();
    }
    copySpans(cut, request.dest);
    dirtyRows.spans.clear();
    if (dirtyRows.known) {
        dirtyRows.spans.assign(m_spans.begin(), m_spans.end());
    }
    drawPointer(frame, cut);
    const bool pointerMoved = std::exchange(m_pointerChanged, false) &&
                              (pointerBefore.count > 0 || m_drawn.part().count > 0);
    if (pointerMoved) {
        addDirty(dirtyRows, pointerBefore);
        addDirty(dirtyRows, m_drawn.part());
    }
    std::fill_n(m_dirty.begin() + m_touched.first, m_touched.count, Columns{});
    m_touched = {};
    m_damageKnown = true;
    m_unread = false;
    m_lastRead = read;
    return !builds || !m_spans.empty() || pointerMoved;
}

void FrameBox::drawPointer(const DrawnPointer::Frame& frame, const Cut& cut) {
    if (m_pointer.visible) {
        m_drawn.draw(m_shape, m_pointer.x - cut.x, m_pointer.y - cut.y, frame);
    }
}

/// Copies what is dirty inside `cut` and leaves it in m_spans: one span for each group of dirty
/// rows.
void FrameBox::copySpans(const Cut& cut, std::uint8_t* dest) {
    m_spans.clear();
    const int end = std::min(cut.height, m_touched.first + m_touched.count - cut.y);
    for (int y = std::max(0, m_touched.first - cut.y); y < end; ++y) {
        const Columns& columns = m_dirty[static_cast<std::size_t>(cut.y + y)];
        const int left = std::max(columns.left - cut.x, 0);
        const int right = std::min(columns.right - cut.x, cut.width);
        if (left >= right) {
            continue;
        }
        if (m_spans.empty() || m_spans.back().first + m_spans.back().count < y) {
            m_spans.push_back({y, 0, left, right});
        }
        support::RowSpan& span = m_spans.back();
        span = {span.first, span.count + 1, std::min(span.left, left), std::max(span.right, right)};
    }
    for (const support::RowSpan& span : m_spans) {
        copyUpright(m_image, cut, span, dest);
    }
}

bool FrameBox::wait(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_arrived.wait_for(lock, limit,
                              [this] { return (m_unread || m_pointerChanged) && hasFrame(); });
}

std::optional<std::pair<int, int>> FrameBox::size() const {
    const std::lock_guard lock(m_mutex);
    if (!hasFrame()) {
        return {};
    }
    return std::pair(uprightWidth(m_image), uprightHeight(m_image));
}

}  // namespace capture::pipewire
