"""An event loop in a thread of its own, for callers that have none."""

from __future__ import annotations

import asyncio
import concurrent.futures
import threading
from collections.abc import AsyncIterator, Coroutine, Iterator
from typing import Any, Generic, TypeVar

T = TypeVar("T")


class LoopThread:
    """Runs coroutines for any number of threads. Its thread ends with `stop`, or with the program."""

    def __init__(self) -> None:
        self._loop = asyncio.new_event_loop()
        self._lock = threading.Lock()
        self._ended = False
        self._thread = threading.Thread(target=self._run, name="mivo", daemon=True)
        self._thread.start()

    @property
    def running(self) -> bool:
        return not self._ended

    def run(self, work: Coroutine[Any, Any, T], timeout: float | None = None) -> T:
        """The result of the work. After `timeout` seconds, or when this thread is interrupted, it is cancelled."""
        if threading.current_thread() is self._thread:
            work.close()
            raise RuntimeError("a call that waits, in the thread that would answer it")
        future = self._start(work)
        try:
            return future.result(timeout)
        except concurrent.futures.CancelledError:
            raise RuntimeError("this Media was closed") from None
        except BaseException:
            future.cancel()
            raise

    def iterate(self, items: AsyncIterator[T]) -> Iterator[T]:
        """The items as they come; what makes them is stopped when nobody wants more."""
        source = _Source(items)
        try:
            while True:
                try:
                    yield self.run(source.next())
                except StopAsyncIteration:
                    return
        finally:
            self._finish(source.close())

    def end(self) -> None:
        """Has the thread cancel what runs and end."""
        with self._lock:
            if not self._ended:
                self._ended = True
                self._loop.call_soon_threadsafe(self._loop.stop)

    def stop(self) -> None:
        """Ends the thread and waits for that."""
        self.end()
        if threading.current_thread() is not self._thread:
            self._thread.join()

    def _start(self, work: Coroutine[Any, Any, T]) -> concurrent.futures.Future[T]:
        # Nothing is begun behind the end, where nobody would hear of it.
        with self._lock:
            if self._ended:
                work.close()
                raise RuntimeError("this Media is closed")
            return asyncio.run_coroutine_threadsafe(work, self._loop)

    def _finish(self, work: Coroutine[Any, Any, None]) -> None:
        """Waits for the work, unless nobody can: behind the end, or where the collector of garbage came by in our thread."""
        if self._ended:
            work.close()
        elif threading.current_thread() is self._thread:
            self._start(work)
        else:
            self.run(work)

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


class _Source(Generic[T]):
    """Items that are not closed while the next one is still being cancelled."""

    def __init__(self, items: AsyncIterator[T]) -> None:
        self._items = items
        self._lock = asyncio.Lock()

    async def next(self) -> T:
        async with self._lock:
            return await anext(self._items)

    async def close(self) -> None:
        async with self._lock:
            close = getattr(self._items, "aclose", None)
            if close is not None:
                await close()
