// Terminals by id. The lock covers the map; what may block happens outside of it.

#include "term/term.hpp"

namespace mbterm {

std::string Manager::create(const SpawnOptions& options, DataCallback onData, ExitCallback onExit,
                            std::string& error) {
    std::string id;
    {
        const std::lock_guard lock(mutex);
        id = "term" + std::to_string(nextId++);
    }
    auto terminal = std::make_shared<Terminal>();
    if (onData)
        terminal->onData = [id, onData = std::move(onData)](const std::string& bytes) {
            onData(id, bytes);
        };
    if (onExit)
        terminal->onExit = [id, onExit = std::move(onExit)](int32_t code) { onExit(id, code); };
    if (!terminal->start(options, error)) return "";
    const std::lock_guard lock(mutex);
    terminals.emplace(id, std::move(terminal));
    return id;
}

std::shared_ptr<Terminal> Manager::get(const std::string& id) {
    const std::lock_guard lock(mutex);
    const auto found = terminals.find(id);
    return found == terminals.end() ? nullptr : found->second;
}

bool Manager::write(const std::string& id, std::string_view bytes) {
    const std::shared_ptr<Terminal> terminal = get(id);
    if (terminal) terminal->write(bytes);
    return terminal != nullptr;
}

void Manager::resize(const std::string& id, int32_t cols, int32_t rows) {
    if (const std::shared_ptr<Terminal> terminal = get(id)) terminal->resize(cols, rows);
}

bool Manager::kill(const std::string& id) {
    std::shared_ptr<Terminal> terminal;
    {
        const std::lock_guard lock(mutex);
        const auto found = terminals.find(id);
        if (found == terminals.end()) return false;
        terminal = std::move(found->second);
        terminals.erase(found);
    }
    terminal->terminate();
    return true;
}

void Manager::killAll() {
    std::map<std::string, std::shared_ptr<Terminal>> ended;
    {
        const std::lock_guard lock(mutex);
        ended.swap(terminals);
    }
    for (const auto& [id, terminal] : ended) terminal->hangUp();
    // One deadline for all: those that ignore the hang-up ignore it at the same time.
    const auto deadline = std::chrono::steady_clock::now() + Terminal::kPoliteTime;
    for (const auto& [id, terminal] : ended) terminal->awaitEnd(deadline);
}

std::vector<std::pair<std::string, std::string>> Manager::list() {
    std::vector<std::pair<std::string, std::string>> found;
    const std::lock_guard lock(mutex);
    for (const auto& [id, terminal] : terminals) found.emplace_back(id, terminal->commandLine());
    return found;
}

}  // namespace mbterm
