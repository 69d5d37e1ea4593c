// Work on many items with several threads, results in the order of the items.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace quzo::host {

// `Item` and `Result` are default-constructible and movable.
template <typename Item, typename Result>
class OrderedRun {
public:
    // Gives the next item; false at the end. Called by the thread of run() only.
    using Source = std::function<bool(Item& item)>;
    // Does the work. Called by several threads at once; must not throw.
    using Work = std::function<Result(Item item)>;
    // Takes a result, in order. Called by the thread of run() only.
    using Sink = std::function<void(Result result)>;
    // How much memory an item takes, in bytes.
    using Weight = std::function<std::size_t(const Item& item)>;

    // One thread means the calling one, and none is started. With more, items are taken ahead until
    // `window` of them, or `maxWeight` bytes, wait for their turn, so memory stays bounded whatever the
    // number of items is.
    OrderedRun(unsigned threads, std::size_t window, std::size_t maxWeight)
        : threads_(threads), window_(window), maxWeight_(maxWeight) {}

    void run(const Source& source, const Weight& weight, const Work& work, const Sink& sink) {
        work_ = work;
        const Threads threads(*this);
        if (threads.count() != 0) {
            drive(source, weight, sink);
            return;
        }
        for (Item item; source(item);) {
            sink(work(std::move(item)));
        }
    }

private:
    struct Slot {
        Item item;
        Result result;
        std::size_t weight = 0;
        bool done = false; // guarded by mutex_
    };

    // Starts the threads, and ends them on every way out of run().
    class Threads {
    public:
        explicit Threads(OrderedRun& owner) : owner_(owner) {
            try {
                for (unsigned started = 0; owner.threads_ > 1 && started < owner.threads_; ++started) {
                    threads_.emplace_back([&owner] { owner.serve(); });
                }
            } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
                // The system allows no more: those that run do the work, or else the calling one.
            }
        }
        ~Threads() {
            {
                const std::scoped_lock lock(owner_.mutex_);
                owner_.over_ = true;
            }
            owner_.wake_.notify_all();
            for (std::thread& thread : threads_) {
                thread.join();
            }
        }
        Threads(const Threads&) = delete;
        Threads& operator=(const Threads&) = delete;

        std::size_t count() const { return threads_.size(); }

    private:
        OrderedRun& owner_;
        std::vector<std::thread> threads_;
    };

    void drive(const Source& source, const Weight& weight, const Sink& sink) {
        bool more = true;
        for (;;) {
            while (more && inFlight_.size() < window_ && weight_ < maxWeight_) {
                auto slot = std::make_unique<Slot>();
                more = source(slot->item);
                if (more) {
                    slot->weight = weight(slot->item);
                    submit(std::move(slot));
                }
                if (frontIsDone(false)) {
                    break;
                }
            }
            if (inFlight_.empty()) {
                return;
            }
            frontIsDone(true);
            const std::unique_ptr<Slot> slot = std::move(inFlight_.front());
            inFlight_.pop_front();
            weight_ -= slot->weight;
            sink(std::move(slot->result));
        }
    }

    void submit(std::unique_ptr<Slot> slot) {
        weight_ += slot->weight;
        {
            const std::scoped_lock lock(mutex_);
            queue_.push_back(slot.get());
        }
        inFlight_.push_back(std::move(slot));
        wake_.notify_one();
    }

    bool frontIsDone(bool wait) {
        if (inFlight_.empty()) {
            return false;
        }
        std::unique_lock lock(mutex_);
        Slot* front = inFlight_.front().get();
        if (wait) {
            ready_.wait(lock, [front] { return front->done; });
        }
        return front->done;
    }

    void serve() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [this] { return over_ || !queue_.empty(); });
            if (over_) {
                return;
            }
            Slot* slot = queue_.front();
            queue_.pop_front();
            lock.unlock();
            slot->result = work_(std::move(slot->item));
            lock.lock();
            slot->done = true;
            ready_.notify_one();
        }
    }

    unsigned threads_;
    std::size_t window_;
    std::size_t maxWeight_;
    Work work_;

    // Of the thread of run(): what has been handed out and not yet been taken, and its weight.
    std::deque<std::unique_ptr<Slot>> inFlight_;
    std::size_t weight_ = 0;

    std::mutex mutex_;
    std::condition_variable wake_;  // something to do
    std::condition_variable ready_; // a slot is done
    std::deque<Slot*> queue_;       // guarded by mutex_
    bool over_ = false;             // guarded by mutex_
};

} // namespace quzo::host
