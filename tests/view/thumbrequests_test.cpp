// Requests for thumbnails: each file once, and never mistaken for another.

#include "ui/view/thumbrequests.h"

#include <condition_variable>
#include <future>

#include "model/records/upward.h"
#include "viewtest.h"

namespace {

// Keeps what it is asked for, without files of its own, and answers when it is told.
class SlowThumbnails : public IThumbnails {
 public:
  using Done = std::function<void(const GalleryFile::Ptr&)>;

  bool MakeLocal(const GalleryFile&, const std::wstring&, bool) override { return false; }
  void Fetch(const std::vector<GalleryFile::Ptr>&, Done done) override {
    const std::lock_guard hold(lock);
    callback = std::move(done);
    changed.notify_all();
  }
  Done WaitForRequest() {
    std::unique_lock hold(lock);
    changed.wait(hold, [this] { return callback != nullptr; });
    return std::exchange(callback, nullptr);
  }

 private:
  std::mutex lock;
  std::condition_variable changed;
  Done callback;
};

class ThumbRequestsTest : public ViewTest {
 protected:
  void SetUp() override {
    ViewTest::SetUp();
    upward::Install(&thumbnails);
  }
  void TearDown() override {
    upward::Install(static_cast<IThumbnails*>(nullptr));
    ThumbRequests::GetInstance().Forget();
    ViewTest::TearDown();
  }
  SlowThumbnails thumbnails;
};

// Another file at the address of one that is gone would count as asked for already.
TEST_F(ThumbRequestsTest, FileUnderWayKeepsItsAddress) {
  auto inner = CloudFile("slow");
  std::promise<void> gone;
  GalleryFile::Ptr file(inner.get(), [inner, &gone](GalleryFile*) { gone.set_value(); });
  inner.reset();
  const std::weak_ptr<GalleryFile> asked = file;
  ThumbRequests::GetInstance().Ask({file}, [](const GalleryFile::Ptr&) {});
  auto done = thumbnails.WaitForRequest();
  const auto held = file.get();
  file.reset();
  ASSERT_FALSE(asked.expired());
  EXPECT_EQ(asked.lock().get(), held);
  done(asked.lock());
  ThumbRequests::GetInstance().Forget();
  // The worker that asked may still have its list in hand.
  EXPECT_EQ(gone.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

}  // namespace
