"""An event loop in a thread of its own, for callers that have none."""

from __future__ import annotations

import asyncio
import concurrent.futures
import threading
from collections.abc import AsyncIterator, Coroutine, Iterator
from typing import Any, TypeVar

T = TypeVar("T")


class LoopThread:
    """Runs coroutines for any number of threads. Its thread ends with `stop`, or with the program."""

    def __init__(self) -> None:
        self._loop = asyncio.new_event_loop()
        self._thread = threading.Thread(target=self._run, name="mivo", daemon=True)
        self._thread.start()

    def run(self, work: Coroutine[Any, Any, T], timeout: float | None = None) -> T:
        """The result of the work. After `timeout` seconds, or when this thread is interrupted, it is cancelled."""
        if threading.current_thread() is self._thread:
            work.close()
            raise RuntimeError("a call that waits, in the thread that would answer it")
        if not self.running:
            work.close()
            raise RuntimeError("this Media is closed")
        future = asyncio.run_coroutine_threadsafe(work, self._loop)
        try:
            return future.result(timeout)
        except concurrent.futures.CancelledError:
            raise RuntimeError("this Media was closed") from None
        except BaseException:
            if not future.done():
                future.cancel()
            raise

    def iterate(self, items: AsyncIterator[T]) -> Iterator[T]:
        """The items as they come; what makes them is stopped when nobody wants more."""
        try:
            while True:
                try:
                    yield self.run(_next(items))
                except StopAsyncIteration:
                    return
        finally:
            if self.running:
                self.run(_close(items))

    @property
    def running(self) -> bool:
        return self._thread.is_alive()

    def stop(self) -> None:
        """Cancels what runs and ends the thread."""
        if self._thread.is_alive():
            self._loop.call_soon_threadsafe(self._loop.stop)
            self._thread.join()

    def _run(self) -> None:
        asyncio.set_event_loop(self._loop)
        try:
            self._loop.run_forever()
        finally:
            tasks = asyncio.all_tasks(self._loop)
            for task in tasks:
                task.cancel()
            self._loop.run_until_complete(asyncio.gather(*tasks, return_exceptions=True))
            self._loop.run_until_complete(self._loop.shutdown_asyncgens())
            self._loop.close()


async def _next(items: AsyncIterator[T]) -> T:
    return await anext(items)


async def _close(items: AsyncIterator[T]) -> None:
    close = getattr(items, "aclose", None)
    if close is not None:
        await close()
