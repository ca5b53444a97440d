// The daemon's loop: its sockets, its connections, and their turns.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <event2/event.h>
#include <sys/stat.h>

#include "ravd/admission.h"
#include "ravd/audit.h"
#include "ravd/checkpoint.h"
#include "ravd/connection.h"
#include "ravd/end_signals.h"
#include "ravd/events.h"
#include "ravd/firmware/upgrade.h"
#include "ravd/handlers/changes.h"
#include "ravd/handlers/programs.h"
#include "ravd/handlers/redraws.h"
#include "ravd/handover.h"
#include "ravd/listener.h"
#include "ravd/login.h"
#include "ravd/options.h"
#include "ravd/restart.h"
#include "ravd/session.h"
#include "ravd/tls.h"
#include "ravd/transfers.h"
#include "ravd/workers.h"

namespace ravd {

class Server : private ConnectionHost {
 public:
    // Borrows all. Becomes the model's listener and recorder, and one of the accounts'.
    Server(const Options &options, Model &model, Database &database, SavedConfiguration &saved, Accounts &accounts,
           Tokens &tokens);
    ~Server();

    // Opens every socket, but for those that the daemon has left that ran before: they are taken out of kept. Returns
    // false and sets error when one can't be had.
    bool open(Handover &kept, std::string &error);
    // Serves until SIGTERM or SIGINT, or until a restart was asked for: then it returns true.
    bool run();
    // Gives the listening sockets away; nothing is accepted any more.
    void release(Handover &kept);

 private:
    event_base *base() override { return base_; }
    Services &services() override { return services_; }
    SSL_CTX *tls() override { return tls_.get(); }
    void schedule(Connection &connection) override;
    void recount(Connection &connection) override;
    void retire(Connection &connection) override;

    bool open_handlers(std::string &error);
    bool open_local(int kept, std::string &error);
    bool open_tcp(size_t index, Handover &kept, std::string &error);
    void listen_on(int fd, Transport transport, size_t index);
    bool all_sent() const;
    void stop();
    void accept(int fd, const Peer &peer);
    void wake();
    void restore(const std::string &document);
    void turn();

    const Options &options_;
    Model &model_;
    event_base *base_;
    event *turn_;
    std::unique_ptr<EndSignals> end_signals_;
    TlsContext tls_;
    Admission admission_;
    Sessions sessions_;
    Events events_;
    std::unique_ptr<Workers> workers_;
    std::unique_ptr<Logins> logins_;
    Audit audit_;
    std::unique_ptr<Programs> programs_;
    std::unique_ptr<Redraws> redraws_;
    std::unique_ptr<Changes> changes_;
    std::unique_ptr<Restart> restart_;
    std::unique_ptr<Upgrades> upgrades_;
    std::unique_ptr<Checkpoint> checkpoint_;
    Transfers transfers_;
    Services services_;
    struct Listening {
        std::unique_ptr<Listener> listener;
        Transport transport;
        size_t index;  // of its destination among the options
    };
    std::vector<Listening> listeners_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<std::unique_ptr<Connection>> retired_;  // deleted at the next turn, when no callback of theirs runs
    std::vector<Connection *> scheduled_;
    bool refusing_ = false;
    bool stopped_ = false;          // by a signal, which wins over a restart
    struct stat socket_file_ = {};  // of ours, so that no other's is removed
};

}  // namespace ravd
