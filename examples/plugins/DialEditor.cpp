#include "plugins/DialEditor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

// Pixels.
constexpr int32_t cellWidth = 110;
constexpr int32_t cellHeight = 130;
constexpr int32_t nameBaseline = 20;
constexpr int32_t textBaseline = 120;
constexpr int32_t dialCentre = 65;
constexpr int32_t dialRadius = 32;
constexpr int32_t characterWidth = 6; // of the server's font "fixed"
constexpr float fullTurn = 150.0F;    // of dragging

constexpr uint32_t background = 0x22262B;
constexpr uint32_t dialBody = 0x3A424C;
constexpr uint32_t dialTrack = 0x55606E;
constexpr uint32_t dialValue = 0x4FB3FF;
constexpr uint32_t textColour = 0xE6E9ED;

// Degrees, anticlockwise from three o'clock: a dial turns from seven o'clock to five.
constexpr double leastAngle = 240;
constexpr double angleRange = 300;
constexpr double arcUnits = 64; // a degree

constexpr int redrawInterval = 40; // milliseconds

xcb_arc_t arc(int32_t centreX, int32_t centreY, int32_t radius, double start, double extent) {
    return {static_cast<int16_t>(centreX - radius), static_cast<int16_t>(centreY - radius),
            static_cast<uint16_t>(2 * radius),      static_cast<uint16_t>(2 * radius),
            static_cast<int16_t>(start * arcUnits), static_cast<int16_t>(extent * arcUnits)};
}

} // namespace

int32_t DialEditor::getWidth(int32_t dials) {
    return std::max(dials, 1) * cellWidth;
}

int32_t DialEditor::getHeight() {
    return cellHeight;
}

DialEditor::DialEditor(DialSource& source, uint32_t parentWindow)
    : source(source), connection(xcb_connect(nullptr, nullptr)), stopEvent(eventfd(0, EFD_CLOEXEC)) {
    openWindow(parentWindow);
    thread = std::thread([this] { run(); });
}

DialEditor::~DialEditor() {
    constexpr uint64_t stop = 1;
    [[maybe_unused]] const ssize_t written = write(stopEvent, &stop, sizeof stop);
    thread.join();
    close(stopEvent);
    xcb_disconnect(connection);
}

void DialEditor::openWindow(uint32_t parentWindow) {
    if (xcb_connection_has_error(connection) != 0)
        return;
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    window = xcb_generate_id(connection);
    const uint32_t windowValues[] = {background, XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS |
                                                     XCB_EVENT_MASK_BUTTON_RELEASE |
                                                     XCB_EVENT_MASK_BUTTON_MOTION};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, parentWindow, 0, 0,
                      static_cast<uint16_t>(getWidth(source.countDials())), cellHeight, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, windowValues);
    const uint32_t font = xcb_generate_id(connection);
    constexpr std::string_view fontName = "fixed";
    xcb_open_font(connection, font, static_cast<uint16_t>(fontName.size()), fontName.data());
    context = xcb_generate_id(connection);
    const uint32_t contextValues[] = {background, 4, XCB_CAP_STYLE_ROUND, font, 0};
    xcb_create_gc(connection, context, window,
                  XCB_GC_BACKGROUND | XCB_GC_LINE_WIDTH | XCB_GC_CAP_STYLE | XCB_GC_FONT |
                      XCB_GC_GRAPHICS_EXPOSURES,
                  contextValues);
    xcb_close_font(connection, font);
    xcb_map_window(connection, window);
    // A round trip: the server has processed all requests.
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

void DialEditor::run() {
    std::array<pollfd, 2> sources{{{xcb_get_file_descriptor(connection), POLLIN, 0}, {stopEvent, POLLIN, 0}}};
    while (handleEvents()) {
        std::vector<Face> faces = readFaces();
        if (mustDraw || faces != shown) {
            draw(faces);
            shown = std::move(faces);
            mustDraw = false;
        }
        poll(sources.data(), sources.size(), redrawInterval);
        if (sources[1].revents != 0)
            break;
    }
    release();
}

bool DialEditor::handleEvents() {
    while (const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event{
        xcb_poll_for_event(connection), &std::free}) {
        switch (event->response_type & 0x7F) {
        case XCB_EXPOSE:
            mustDraw = true;
            break;
        case XCB_BUTTON_PRESS: {
            const auto& button = reinterpret_cast<const xcb_button_press_event_t&>(*event);
            if (button.detail == XCB_BUTTON_INDEX_1)
                press(button.event_x, button.event_y);
            break;
        }
        case XCB_MOTION_NOTIFY:
            turn(reinterpret_cast<const xcb_motion_notify_event_t&>(*event).event_y);
            break;
        case XCB_BUTTON_RELEASE:
            if (reinterpret_cast<const xcb_button_release_event_t&>(*event).detail == XCB_BUTTON_INDEX_1)
                release();
            break;
        default:
            break;
        }
    }
    return xcb_connection_has_error(connection) == 0;
}

void DialEditor::press(int32_t x, int32_t y) {
    const int32_t dial = x / cellWidth;
    if (draggedDial >= 0 || dial < 0 || dial >= source.countDials())
        return;
    draggedDial = dial;
    dragStart = y;
    dragStartValue = source.getDialValue(dial);
    source.beginDrag(dial);
}

void DialEditor::turn(int32_t y) {
    if (draggedDial < 0)
        return;
    const float turned = static_cast<float>(dragStart - y) / fullTurn;
    source.drag(draggedDial, std::clamp(dragStartValue + turned, 0.0F, 1.0F));
}

void DialEditor::release() {
    if (draggedDial >= 0)
        source.endDrag(draggedDial);
    draggedDial = -1;
}

std::vector<DialEditor::Face> DialEditor::readFaces() {
    std::vector<Face> faces;
    const int32_t count = source.countDials();
    for (int32_t i = 0; i < count; ++i)
        faces.push_back({source.getDialName(i), source.getDialText(i), source.getDialValue(i)});
    return faces;
}

void DialEditor::draw(const std::vector<Face>& faces) {
    const auto width = static_cast<uint16_t>(getWidth(static_cast<int32_t>(faces.size())));
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    // Drawn to a pixmap and copied at once, without flicker.
    const uint32_t picture = xcb_generate_id(connection);
    xcb_create_pixmap(connection, screen.root_depth, picture, window, width, cellHeight);
    setColour(background);
    const xcb_rectangle_t everything{0, 0, width, cellHeight};
    xcb_poly_fill_rectangle(connection, picture, context, 1, &everything);
    for (size_t i = 0; i < faces.size(); ++i)
        drawDial(picture, static_cast<int32_t>(i), faces[i]);
    xcb_copy_area(connection, picture, window, context, 0, 0, 0, 0, width, cellHeight);
    xcb_free_pixmap(connection, picture);
    xcb_flush(connection);
}

void DialEditor::drawDial(uint32_t target, int32_t index, const Face& face) {
    const int32_t centreX = index * cellWidth + cellWidth / 2;
    const double turned = angleRange * static_cast<double>(face.value);
    setColour(dialBody);
    const xcb_arc_t body = arc(centreX, dialCentre, dialRadius - 8, 0, 360);
    xcb_poly_fill_arc(connection, target, context, 1, &body);
    setColour(dialTrack);
    const xcb_arc_t track = arc(centreX, dialCentre, dialRadius, leastAngle, -angleRange);
    xcb_poly_arc(connection, target, context, 1, &track);
    setColour(dialValue);
    const xcb_arc_t value = arc(centreX, dialCentre, dialRadius, leastAngle, -turned);
    xcb_poly_arc(connection, target, context, 1, &value);
    const double radians = (leastAngle - turned) * std::numbers::pi / 180;
    const auto along = [&](double length) {
        return xcb_point_t{static_cast<int16_t>(centreX + std::cos(radians) * length),
                           static_cast<int16_t>(dialCentre - std::sin(radians) * length)};
    };
    const std::array pointer{along(8), along(dialRadius - 11)};
    xcb_poly_line(connection, XCB_COORD_MODE_ORIGIN, target, context, pointer.size(), pointer.data());
    drawText(target, centreX, nameBaseline, face.name);
    drawText(target, centreX, textBaseline, face.text);
}

void DialEditor::drawText(uint32_t target, int32_t centre, int32_t baseline, const std::string& text) {
    const std::string cut = text.substr(0, cellWidth / characterWidth);
    setColour(textColour);
    xcb_image_text_8(connection, static_cast<uint8_t>(cut.size()), target, context,
                     static_cast<int16_t>(centre - static_cast<int32_t>(cut.size()) * characterWidth / 2),
                     static_cast<int16_t>(baseline), cut.c_str());
}

void DialEditor::setColour(uint32_t colour) {
    xcb_change_gc(connection, context, XCB_GC_FOREGROUND, &colour);
}
