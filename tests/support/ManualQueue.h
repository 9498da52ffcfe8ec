#pragma once

#include <deque>
#include <functional>

namespace qv::test {

// Stands in for the main queue: steps wait until the test runs them, so a test can check what
// happens before and after "the current sheet has gone".
struct ManualQueue {
    std::deque<std::function<void()>> steps;

    std::function<void(std::function<void()>)> poster() {
        return [this](std::function<void()> f) { steps.push_back(std::move(f)); };
    }
    bool empty() const { return steps.empty(); }
    void run() {
        while (!steps.empty()) {
            auto f = std::move(steps.front());
            steps.pop_front();
            f();
        }
    }
};

}  // namespace qv::test
