#pragma once

#include <memory>
#include <string>

namespace tests {

/// A desktop's session manager (the X session management protocol) with one client, which it can ask to get
/// ready for the end of the session.
class SessionManager {
public:
    SessionManager();
    ~SessionManager();
    SessionManager(const SessionManager&) = delete;
    SessionManager& operator=(const SessionManager&) = delete;

    /// What the client finds the manager by, in its variable SESSION_MANAGER.
    std::string address() const;

    bool hasClient() const;

    /// Asks the client to save itself because the session ends; it may interact.
    void askToEnd();

    /// Tells the client that the session is over.
    void end();

    bool refused() const;
    bool agreed() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace tests
