Task<> draw(std::shared_ptr<Page> page, std::shared_ptr<Window> window) {
  const auto shows = [=] { window->show(*page); };
  co_await MainActor::run(shows);
  co_await withTaskGroup([&](TaskGroup<>& group) { group.addTask([page] { return print(*page); }); });
  co_await withTaskCancellationHandler([&] { return print(*page); },
                                       [this, page, &window] { window->stop(*page); });
}
