#include "tests/ui/qt/SessionManager.hpp"

#include <X11/SM/SMlib.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tests {

struct SessionManager::State {
    std::atomic<bool> client = false;
    std::atomic<bool> asking = false;
    std::atomic<bool> asked = false;
    std::atomic<bool> dying = false;
    std::atomic<bool> saved = false;
    std::atomic<bool> cancelled = false;
    std::atomic<bool> stopping = false;
    std::string address;
    int doorCount = 0;
    IceListenObj* doors = nullptr; ///< freed by the library's own function
    SmsConn connection = nullptr;  ///< the manager's thread alone uses it
    IceConn visitor = nullptr;
    std::thread thread;

    bool listen();
    void serve();

    // What the library calls, on the manager's own thread.

    static State& manager(SmPointer data) { return *static_cast<State*>(data); }

    static Status registerClient(SmsConn connection, SmPointer data, char* previous) {
        std::free(previous);
        char* id = SmsGenerateClientID(connection);
        SmsRegisterClientReply(connection, id);
        std::free(id);
        // A client that is new is asked at once to save what a restart would need.
        SmsSaveYourself(connection, SmSaveLocal, False, SmInteractStyleNone, False);
        manager(data).connection = connection;
        return 1;
    }
    static void interactRequest(SmsConn connection, SmPointer, int) { SmsInteract(connection); }
    static void interactDone(SmsConn connection, SmPointer data, Bool cancel) {
        if (cancel != 0) {
            manager(data).cancelled = true;
            SmsShutdownCancelled(connection);
        }
    }
    static void saveYourselfRequest(SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}
    static void phase2Request(SmsConn connection, SmPointer) { SmsSaveYourselfPhase2(connection); }
    static void saveYourselfDone(SmsConn connection, SmPointer data, Bool) {
        State& self = manager(data);
        if (!self.client) {
            SmsSaveComplete(connection);
            self.client = true;
        } else if (self.asked) {
            self.saved = true;
        }
    }
    static void closeConnection(SmsConn, SmPointer, int count, char** reasons) {
        SmFreeReasons(count, reasons);
    }
    static void setProperties(SmsConn, SmPointer, int count, SmProp** properties) {
        for (int index = 0; index < count; ++index) {
            SmFreeProperty(properties[index]);
        }
        std::free(properties);
    }
    static void deleteProperties(SmsConn, SmPointer, int count, char** names) {
        for (int index = 0; index < count; ++index) {
            std::free(names[index]);
        }
        std::free(names);
    }
    static void getProperties(SmsConn, SmPointer) {}

    static Status newClient(SmsConn, SmPointer data, unsigned long* mask, SmsCallbacks* callbacks, char**) {
        *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
                SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
                SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask |
                SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
        callbacks->register_client = {registerClient, data};
        callbacks->interact_request = {interactRequest, data};
        callbacks->interact_done = {interactDone, data};
        callbacks->save_yourself_request = {saveYourselfRequest, data};
        callbacks->save_yourself_phase2_request = {phase2Request, data};
        callbacks->save_yourself_done = {saveYourselfDone, data};
        callbacks->close_connection = {closeConnection, data};
        callbacks->set_properties = {setProperties, data};
        callbacks->delete_properties = {deleteProperties, data};
        callbacks->get_properties = {getProperties, data};
        return 1;
    }
    static Bool admitAnyone(char*) { return True; }
};

SessionManager::SessionManager() : state(std::make_unique<State>()) {
    char error[256] = "";
    if (SmsInitialize("tests", "1", State::newClient, state.get(), State::admitAnyone, sizeof error, error) ==
            0 ||
        IceListenForConnections(&state->doorCount, &state->doors, sizeof error, error) == 0) {
        throw std::runtime_error(std::string("no session manager: ") + error);
    }
    for (int index = 0; index < state->doorCount; ++index) {
        IceSetHostBasedAuthProc(state->doors[index], State::admitAnyone);
    }
    IceSetIOErrorHandler([](IceConn) {}); // a client that leaves does not end the test
    char* list = IceComposeNetworkIdList(state->doorCount, state->doors);
    state->address = list;
    std::free(list);
    state->thread = std::thread([this] { state->serve(); });
}

SessionManager::~SessionManager() {
    state->stopping = true;
    state->thread.join();
    IceFreeListenObjs(state->doorCount, state->doors);
}

std::string SessionManager::address() const {
    return state->address;
}

bool SessionManager::hasClient() const {
    return state->client;
}

void SessionManager::askToEnd() {
    state->asking = true;
}

void SessionManager::end() {
    state->dying = true;
}

bool SessionManager::refused() const {
    return state->cancelled;
}

bool SessionManager::agreed() const {
    return state->saved && !state->cancelled;
}

/// Waits a moment for the client to say something, or to knock at one of the doors.
bool SessionManager::State::listen() {
    std::vector<pollfd> waiting;
    if (visitor != nullptr) {
        waiting.push_back({IceConnectionNumber(visitor), POLLIN, 0});
    } else {
        for (int index = 0; index < doorCount; ++index) {
            waiting.push_back({IceGetListenConnectionNumber(doors[index]), POLLIN, 0});
        }
    }
    if (::poll(waiting.data(), waiting.size(), 20) <= 0) {
        return true;
    }
    if (visitor != nullptr) {
        return IceProcessMessages(visitor, nullptr, nullptr) != IceProcessMessagesIOError;
    }
    const auto knocked =
        std::find_if(waiting.begin(), waiting.end(), [](auto& door) { return door.revents != 0; });
    IceAcceptStatus status = IceAcceptSuccess;
    visitor = IceAcceptConnection(doors[knocked - waiting.begin()], &status);
    return true;
}

void SessionManager::State::serve() {
    while (!stopping && listen()) {
        if (asking.exchange(false)) {
            asked = true;
            SmsSaveYourself(connection, SmSaveBoth, True, SmInteractStyleAny, False);
        }
        if (dying.exchange(false)) {
            SmsDie(connection);
        }
    }
}

} // namespace tests
