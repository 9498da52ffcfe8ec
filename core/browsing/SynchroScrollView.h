#pragma once

// Makes one scroll view follow another vertically. The toolkit's views report their positions;
// this decides where the follower goes, and when not to move so that the two views don't chase
// each other.

#include <optional>

namespace qv {

class SynchroScrollView {
public:
    struct Point {
        double x = 0, y = 0;
        friend bool operator==(const Point&, const Point&) = default;
    };

    // Exactly one of the two content views flipped means opposite vertical directions.
    void setSynchronizedScrollView(bool leaderFlipped, bool ownFlipped) {
        synchronized_ = true;
        reverseScroll = leaderFlipped != ownFlipped;
    }
    void stopSynchronizing() { synchronized_ = false; }
    bool reverseScroll = false;

    // Where the own content view goes when the leader's visible rectangle starts at `leader`;
    // nothing when the two already agree. Only the vertical position follows.
    std::optional<Point> synchronizedViewContentBoundsDidChange(const Point& leader, const Point& own) const {
        if (!synchronized_ || leader == own) return std::nullopt;
        return Point{own.x, reverseScroll ? -leader.y : leader.y};
    }

private:
    bool synchronized_ = false;
};

}  // namespace qv
