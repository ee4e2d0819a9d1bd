#pragma once

namespace parvel::platform {

// Points and sizes in screen points. Which way y grows depends on the space: the window server
// and Accessibility use a top-left origin (y down), Cocoa screens a bottom-left origin (y up).
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    Point origin;
    Size size;

    double minX() const { return origin.x; }
    double minY() const { return origin.y; }
    double maxX() const { return origin.x + size.width; }
    double maxY() const { return origin.y + size.height; }
    bool isEmpty() const { return size.width <= 0 || size.height <= 0; }
    // Half-open containment, as CGRectContainsPoint.
    bool contains(Point point) const {
        return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
    }
    friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace parvel::platform
