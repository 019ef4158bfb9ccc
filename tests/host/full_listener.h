// A port of this computer that takes no more connections.
#ifndef DX7_TESTS_HOST_FULL_LISTENER_H
#define DX7_TESTS_HOST_FULL_LISTENER_H

#include <vector>

// Listens, takes nobody in and has no room left to wait: connecting to it is neither refused nor does it
// end, as with an address behind which nothing is.
class FullListener {
public:
    // A free port with 0.
    explicit FullListener(int port = 0);
    ~FullListener();
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;

    int port() const;
    // From now on there is room for those who still try, too.
    void makeRoom() const;

private:
    void fill();

    int listener_;
    std::vector<int> others_;
};

#endif
