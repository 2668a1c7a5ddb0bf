"""Many calls with some of them on their way."""

from __future__ import annotations

import asyncio
from collections import deque
from collections.abc import AsyncGenerator, AsyncIterable, AsyncIterator, Awaitable, Callable, Iterable
from typing import TypeVar, Union

S = TypeVar("S")
T = TypeVar("T")

Source = Union[Iterable[S], AsyncIterable[S]]


async def each(items: Source[S]) -> AsyncIterator[S]:
    """The items of any source, taken as they are asked for."""
    if isinstance(items, AsyncIterable):
        async for item in items:
            yield item
    else:
        for item in items:
            yield item


async def batches(items: Source[S], sizes: Iterable[int]) -> AsyncIterator[list[S]]:
    """The items in lists of those lengths."""
    lengths = iter(sizes)
    length = next(lengths)
    batch: list[S] = []
    async for item in each(items):
        batch.append(item)
        if len(batch) >= length:
            yield batch
            batch = []
            length = next(lengths)
    if batch:
        yield batch


async def mapped(
    work: Callable[[S], Awaitable[T]], items: AsyncIterator[S], at_once: int, ordered: bool
) -> AsyncGenerator[T, None]:
    """What the work makes of each item, so many at once; in the items' order or as it comes.

    What is not done when the iterator is closed is cancelled. The first failure ends it.
    """
    running: deque[asyncio.Future[T]] = deque()
    try:
        more = True
        while more or running:
            while more and len(running) < at_once:
                try:
                    running.append(asyncio.ensure_future(work(await anext(items))))
                except StopAsyncIteration:
                    more = False
            if running:
                yield (await _next_done(running, ordered)).result()
    finally:
        for task in running:
            task.cancel()
        if running:
            await asyncio.wait(running)
        for task in running:
            if not task.cancelled():
                task.exception()  # the first failure is told; those that it met on its way are its kin


async def _next_done(running: deque[asyncio.Future[T]], ordered: bool) -> asyncio.Future[T]:
    """Takes out the first of them, or the first that is done."""
    waited = [running[0]] if ordered else list(running)
    done, _ = await asyncio.wait(waited, return_when=asyncio.FIRST_COMPLETED)
    first = next(task for task in running if task in done)
    running.remove(first)
    return first
