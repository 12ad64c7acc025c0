#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

struct xcb_connection_t;

/// The parameters of a `DialEditor`, with normalised values. Called on the editor's thread.
class DialSource {
public:
    virtual int32_t countDials() = 0;
    virtual std::string getDialName(int32_t index) = 0;
    /// The value with its unit.
    virtual std::string getDialText(int32_t index) = 0;
    virtual float getDialValue(int32_t index) = 0;
    virtual void beginDrag(int32_t index) = 0;
    virtual void drag(int32_t index, float value) = 0;
    virtual void endDrag(int32_t index) = 0;

protected:
    ~DialSource() = default;
};

/// An editor in plain X: a dial for each parameter, turned by dragging up and down. Has its own connection
/// and thread, so it needs no run loop of the host.
class DialEditor {
public:
    /// Opens a window in `parentWindow`, and returns once the server has made it.
    DialEditor(DialSource& source, uint32_t parentWindow);
    /// Joins the thread.
    ~DialEditor();
    DialEditor(const DialEditor&) = delete;
    DialEditor& operator=(const DialEditor&) = delete;

    // In pixels.

    static int32_t getWidth(int32_t dials);
    static int32_t getHeight();

private:
    /// The current state of a dial.
    struct Face {
        std::string name;
        std::string text;
        float value;

        bool operator==(const Face&) const = default;
    };

    void openWindow(uint32_t parentWindow);
    void run();
    /// False once the connection is lost.
    bool handleEvents();
    void press(int32_t x, int32_t y);
    void turn(int32_t y);
    void release();
    std::vector<Face> readFaces();
    void draw(const std::vector<Face>& faces);
    void drawDial(uint32_t target, int32_t index, const Face& face);
    void drawText(uint32_t target, int32_t centre, int32_t baseline, const std::string& text);
    void setColour(uint32_t colour);

    DialSource& source;
    xcb_connection_t* connection;
    uint32_t window = 0;
    uint32_t context = 0;
    std::vector<Face> shown;
    bool mustDraw = true;
    int32_t draggedDial = -1;
    int32_t dragStart = 0; // pixels
    float dragStartValue = 0.0F;
    int stopEvent;
    std::thread thread;
};
