"""The library's operations, written for the eye: slow, one pixel after the other where that is clearest."""

import numpy as np

F = np.float32


def half_up(values):
    return np.floor(np.asarray(values, np.float64) + 0.5)


def saturated(values, dtype):
    """Rounded to nearest, ties to even, and clamped."""
    info = np.iinfo(dtype)
    return np.clip(np.rint(np.asarray(values, np.float64)), info.min, info.max).astype(dtype)


def full_scale(dtype):
    return {"uint8": 255.0, "uint16": 65535.0, "float32": 1.0}[np.dtype(dtype).name]


# Guided filter: exact sums, where the library adds up floats.


def box_mean(plane, radius):
    """The mean over a square window, with the outermost pixels repeated."""
    size = 2 * radius + 1
    padded = np.pad(np.asarray(plane, np.float64), radius, mode="edge")
    windows = np.lib.stride_tricks.sliding_window_view(padded, (size, size))
    return windows.mean(axis=(2, 3))


def guided_model(guide, src, radius, eps):
    """Box means of the slopes, (height, width, planes), and of the offset, of planes on the scale 0..1."""
    planes = np.atleast_3d(guide / full_scale(guide.dtype))
    p = src / full_scale(src.dtype)
    n = planes.shape[2]
    means = np.stack([box_mean(planes[..., c], radius) for c in range(n)], axis=-1)
    p_mean = box_mean(p, radius)
    covariance = np.empty(p.shape + (n, n))
    with_p = np.empty(p.shape + (n,))
    for i in range(n):
        with_p[..., i] = box_mean(planes[..., i] * p, radius) - means[..., i] * p_mean
        for j in range(n):
            product = box_mean(planes[..., i] * planes[..., j], radius)
            covariance[..., i, j] = product - means[..., i] * means[..., j] + (eps if i == j else 0)
    a = np.linalg.solve(covariance, with_p[..., None])[..., 0]
    b = p_mean - (a * means).sum(axis=-1)
    return np.stack([box_mean(a[..., c], radius) for c in range(n)], axis=-1), box_mean(b, radius)


def apply_model(a, b, guide):
    """Each coefficient serves a block of pixels."""
    planes = np.atleast_3d(guide).astype(np.float64)
    rows = np.arange(guide.shape[0]) // -(-guide.shape[0] // b.shape[0])
    cols = np.arange(guide.shape[1]) // -(-guide.shape[1] // b.shape[1])
    cells = np.ix_(rows, cols)
    q = (planes * a[cells]).sum(axis=-1) + b[cells] * full_scale(guide.dtype)
    return q.astype(F) if guide.dtype == F else saturated(q, guide.dtype)


def guided_filter(guide, src, radius, eps):
    return apply_model(*guided_model(guide, src, radius, eps), guide)


# Bilateral grid


def recursive_gauss(line, sigma=F(0.85), steps=2):
    """In place, along the first axis, in single precision."""
    lam = F(sigma * sigma * F(0.25))
    nu = F((float(F(2 * lam + 1)) - np.sqrt(float(F(4 * lam + 1)))) / float(F(2 * lam)))
    boundary = F(1 / (1 - nu))
    post = F(F(nu / lam) * F(nu / lam))
    for _ in range(steps):
        line[0] *= boundary
        for i in range(1, len(line)):
            line[i] += nu * line[i - 1]
        line[-1] *= boundary
        for i in range(len(line) - 2, -1, -1):
            line[i] += nu * line[i + 1]
    line *= post


def bilateral_grid(src, guide, sampling, level):
    height, width = src.shape
    low, span = int(guide.min()), float(guide.max()) - float(guide.min())
    cells = [-(-side // sampling) for side in (width, height)] + [int(np.ceil(span / level))]
    if cells[2] + 4 > 252:
        cells[2], level = 248, int(span / 248)
    grid = np.zeros((cells[1] + 4, cells[0] + 4, cells[2] + 4), F)
    weight = np.full_like(grid, F(1e-20))
    alpha = 1.0 / level
    z = np.clip(np.rint(guide.astype(F) * F(alpha) + F(2.0 - low * alpha)), 0, 255).astype(int)
    for y in range(height):
        for x in range(width):
            cell = 2 + y // sampling, 2 + x // sampling, z[y, x]
            grid[cell] += F(src[y, x])
            weight[cell] += F(1)
    for volume in (weight, grid):
        for axis in (2, 1, 0):
            recursive_gauss(np.moveaxis(volume, axis, 0))
    grid /= weight

    zf = guide.astype(F) * F(alpha) + F(1.5 - low * alpha)
    zi = np.clip(np.rint(zf), 0, 255).astype(int)
    fz = zf - zi.astype(F)
    out = np.empty_like(src)
    for y in range(height):
        yf = F(F(y) / F(sampling)) + F(1) + F(0.5)
        yi, fy = int(yf), F(yf - int(yf))
        for x in range(width):
            xf = F(F(x) / F(sampling)) + F(1) + F(0.5)
            xi, fx = int(xf), F(xf - int(xf))
            c = grid[yi : yi + 2, xi : xi + 2, zi[y, x] : zi[y, x] + 2]
            along = c[..., 0] + (c[..., 1] - c[..., 0]) * fz[y, x]
            rows = along[:, 0] + (along[:, 1] - along[:, 0]) * fx
            out[y, x] = saturated((rows[1] - rows[0]) * fy + rows[0], src.dtype)
    return out


def gradient_guide(src, guide, radius):
    out = src.copy()
    offsets = [
        (i, j)
        for i in range(-radius, radius + 1)
        for j in range(-radius, radius + 1)
        if i == 0 or j == 0 or not np.sqrt(i * i + j * j) > radius + 0.5
    ]
    for y in range(radius, src.shape[0] - radius):
        for x in range(radius, src.shape[1] - radius):
            around = [int(src[y + i, x + j]) for i, j in offsets]
            s, high, low = int(src[y, x]), max(around), min(around)
            bounds = (low, s) if high - s <= s - low else (s, high)
            if bounds[0] < guide[y, x] < bounds[1]:
                out[y, x] = guide[y, x]
    return out


# Pyramids


def pyramid_down(plane):
    """Five by five binomial weights, every other pixel, mirrored edges."""
    kernel = np.array([1, 4, 6, 4, 1])
    padded = np.pad(plane.astype(np.int64 if plane.dtype != F else np.float64), 2, mode="reflect")
    windows = np.lib.stride_tricks.sliding_window_view(padded, (5, 5))[::2, ::2]
    total = np.einsum("yxij,i,j->yx", windows, kernel, kernel)
    return (total / 256).astype(F) if plane.dtype == F else ((total + 128) >> 8).astype(plane.dtype)


def _enlarged(line, n):
    """Along the first axis, times 8: zeros in between, then the binomial weights; n is even."""
    before = np.concatenate([line[1:2], line[:-1]])
    after = np.concatenate([line[1:], line[-1:]])
    out = np.empty((n,) + line.shape[1:], line.dtype)
    out[::2] = before + 6 * line + after
    out[1::2] = 4 * (line + after)
    return out


def pyramid_up(plane, shape):
    wide = plane.astype(np.int64 if plane.dtype != F else np.float64)
    total = _enlarged(_enlarged(wide, shape[0]).T, shape[1]).T
    return (total / 64).astype(F) if plane.dtype == F else ((total + 32) >> 6).astype(plane.dtype)


def local_laplacian(src, alpha, levels, references, step):
    """For blur 0 and an even size of the remap curve; planes whose sides halve evenly down to the coarsest level."""
    size = int(alpha * 32768)
    a, h = abs(size), abs(size) // 2
    bend = h if size >= 0 else -h
    knots = [0, 32768 - a, 32768 - h, 32768, 32768 + h, 32768 + a, 65535]
    values = [32768, 32768, 32768 + bend, 32768, 32768 - bend, 32768, 32768]
    table = np.rint(np.interp(np.arange(65536), knots, values)).astype(int)

    def clamped(values):
        return np.clip(values, 0, 65535).astype(np.uint16)

    def remapped(k):
        index = np.clip(np.rint((src.astype(F) - F(k * step)) * F(0.5) + F(32768)), 0, 65535).astype(int)
        return clamped(src.astype(int) + 2 * table[index] - 65536)

    def bands(plane):
        pyramid = [plane]
        for _ in range(levels - 1):
            pyramid.append(pyramid_down(pyramid[-1]))
        differences = [
            clamped(fine.astype(int) - pyramid_up(coarse, fine.shape) + 32767)
            for fine, coarse in zip(pyramid, pyramid[1:])
        ]
        return pyramid, differences + pyramid[-1:]

    gaussian, _ = bands(src)
    remaps = [bands(remapped(k))[1] for k in range(references)]
    result = None
    for level in range(levels - 1, -1, -1):
        at = gaussian[level].astype(F) * F(1 / step)
        lower = np.clip(at.astype(int), 0, references - 2)
        f = at - lower.astype(F)
        stack = np.stack([r[level] for r in remaps]).astype(F)
        rows, cols = np.indices(lower.shape)
        mixed = (F(1) - f) * stack[lower, rows, cols] + f * stack[lower + 1, rows, cols]
        mixed = (mixed.astype(np.int64) & 0xFFFF).astype(int)
        result = mixed if result is None else clamped(mixed + pyramid_up(result, mixed.shape).astype(int) - 32767)
        result = result.astype(np.uint16)
    return result


def separable(plane, kernel):
    """Correlated about the middle tap, along x first, zero outside, in single precision in the order of the taps."""
    kernel, anchor = [F(k) for k in kernel], len(kernel) // 2
    for axis in (1, 0):
        out = None
        for i, k in enumerate(kernel):
            shifted = np.zeros(plane.shape, F)
            offset = i - anchor
            source = [slice(None)] * 2
            target = [slice(None)] * 2
            n = plane.shape[axis]
            source[axis] = slice(max(0, offset), min(n, n + offset))
            target[axis] = slice(max(0, -offset), min(n, n - offset))
            if abs(offset) < n:
                shifted[tuple(target)] = plane[tuple(source)]
            out = shifted * k if out is None else out + shifted * k
        plane = out
    return plane


def convolution_pyramid(src, k1, k2, k3):
    down = [src.astype(F)]
    for _ in range(max(src.shape).bit_length() - 1):
        down.append(separable(down[-1], k1)[::2, ::2])
    up = separable(down[-1], k3)
    for signal in reversed(down[:-1]):
        spread = np.zeros(signal.shape, F)
        spread[::2, ::2] = up
        up = separable(signal, k3) + separable(spread, k2)
    return up


def weighted_least_squares(src, guide, lam, alpha, log_guide):
    """The dense system."""
    height, width = src.shape
    guide = guide.astype(np.float64)
    if log_guide:
        guide = np.log(guide + 1e-4)
    system = np.eye(src.size)
    for y in range(height):
        for x in range(width):
            for v, u in ((y + 1, x), (y, x + 1)):
                if v < height and u < width:
                    weight = lam / (abs(guide[v, u] - guide[y, x]) ** alpha + 1e-4)
                    i, j = y * width + x, v * width + u
                    system[i, i] += weight
                    system[j, j] += weight
                    system[i, j] -= weight
                    system[j, i] -= weight
    return np.linalg.solve(system, src.ravel().astype(np.float64)).reshape(src.shape)


# Domain transform


def _distances(image, ratio):
    sums = [np.zeros(image.shape[:2]) for _ in range(2)]
    sums[0][:-1, :-1] = np.abs(np.diff(image, axis=1)).sum(axis=2)[:-1]
    sums[1][:-1, :-1] = np.abs(np.diff(image, axis=0)).sum(axis=2)[:, :-1]
    return 1 + ratio * sums[0], (1 + ratio * sums[1]).T


def _recursive_pass(rows, distances, sigma):
    v = np.exp(distances * (-np.sqrt(2) / sigma))[..., None]
    for x in range(1, rows.shape[1]):
        rows[:, x] += (rows[:, x - 1] - rows[:, x]) * v[:, x]
    for x in range(rows.shape[1] - 2, -1, -1):
        rows[:, x] += (rows[:, x + 1] - rows[:, x]) * v[:, x + 1]


def _normalized_pass(rows, distances, radius):
    for y, row in enumerate(rows):
        ct = np.cumsum(distances[y])
        sums = np.concatenate([np.zeros((1, row.shape[1])), np.cumsum(row, axis=0)])
        lower = np.searchsorted(ct, ct - radius, side="right")
        upper = np.searchsorted(ct, ct + radius, side="right")
        rows[y] = (sums[upper] - sums[lower]) / (upper - lower)[:, None]


def domain_transform(src, sigma_space, sigma_range, mode):
    image = np.atleast_3d(src).astype(np.float64)
    across, down = _distances(image, sigma_space / sigma_range)
    out, k, sigma = image.copy(), 1 / np.sqrt(63), sigma_space
    for i in (2, 1, 0):
        if mode == "recursive":
            sigma *= np.sqrt(3) * 2**i * k
            filter_rows, width = _recursive_pass, sigma
        else:
            filter_rows, width = _normalized_pass, sigma_space * np.sqrt(3) * 2**i * k * np.sqrt(3)
        filter_rows(out, across, width)
        turned = out.transpose(1, 0, 2).copy()
        filter_rows(turned, down, width)
        out = turned.transpose(1, 0, 2).copy()
    return out.reshape(src.shape)


# Box mean, blending, sharpening, chroma


def box_filter(src, radius, iterations):
    size = (2 * radius + 1) ** 2
    out = src.astype(np.int64)
    for _ in range(iterations):
        padded = np.pad(out, radius, mode="reflect")
        windows = np.lib.stride_tricks.sliding_window_view(padded, (2 * radius + 1, 2 * radius + 1))
        out = (2 * windows.sum(axis=(2, 3)) + size) // (2 * size)
    return out.astype(src.dtype)


def blend(first, second, alpha, strength):
    w = alpha.astype(F) * (F(strength) * F(0.003921569))
    mixed = first.astype(F) * (F(1) - w) + second.astype(F) * w
    return mixed if first.dtype == F else np.trunc(mixed).astype(first.dtype)


def extreme_sharpen(src):
    out = src.copy()
    for y in range(1, src.shape[0] - 1):
        for x in range(1, src.shape[1] - 1):
            around = src[y - 1 : y + 2, x - 1 : x + 2].astype(int)
            v, low, high = int(src[y, x]), around.min(), around.max()
            out[y, x] = high if high - v < v - low else low
    return out


def chroma_upsize(guide, low):
    height, width = guide.shape
    g = guide.astype(int)
    out = np.zeros_like(guide)
    out[::2, ::2] = low[: (height + 1) // 2, : (width + 1) // 2]
    for y in range(0, height, 2):
        out[y, -1] = low[y // 2, -1]
    out[-1] = [low[-1, x // 2] for x in range(width)]

    def nearest(y, x, candidates):
        best = min(candidates, key=lambda at: abs(g[y, x] - g[at]))
        out[y, x] = out[best]

    for y in range(1, height - 1, 2):
        for x in range(1, width - 1, 2):
            nearest(y, x, [(y - 1, x - 1), (y - 1, x + 1), (y + 1, x - 1), (y + 1, x + 1)])
        if width % 2 == 0:
            nearest(y, width - 1, [(y - 1, width - 2), (y + 1, width - 2)])
    for y in range(1, height - 1):
        for x in range(1 if y % 2 == 0 else 2, width - 1, 2):
            nearest(y, x, [(y - 1, x), (y, x - 1), (y, x + 1), (y + 1, x)])
    out[1:-1, 0], out[1:-1, -1] = out[1:-1, 1], out[1:-1, -2]
    out[0], out[-1] = out[1], out[-2]
    return out


# Resampling


def _weights(interpolation, f):
    if interpolation == "nearest":
        return {0: 1.0}
    if interpolation == "linear":
        return {0: 1 - f, 1: f}

    def keys(t):
        t = abs(t)
        return 1.5 * t**3 - 2.5 * t**2 + 1 if t <= 1 else -0.5 * t**3 + 2.5 * t**2 - 4 * t + 2

    return {i: keys(f - i) for i in (-1, 0, 1, 2)}


def _resized_line(line, n, position, interpolation):
    out = np.empty((n,) + line.shape[1:])
    for x in range(n):
        at = position(x)
        first = int(np.floor(at + 0.5)) if interpolation == "nearest" else int(np.floor(at))
        taps = _weights(interpolation, at - first)
        out[x] = sum(w * line[min(max(first + i, 0), len(line) - 1)] for i, w in taps.items())
    return out


def _resized(src, shape, position, interpolation):
    wide = _resized_line(src.astype(np.float64), shape[0], position, interpolation)
    wide = _resized_line(wide.T, shape[1], position, interpolation).T
    if src.dtype == F:
        return wide.astype(F)
    return np.clip(half_up(wide), 0, np.iinfo(src.dtype).max).astype(src.dtype)


def downsize(src, n, interpolation):
    shape = [-(-side // n) for side in src.shape]
    out = _resized(src, shape, lambda x: n * x + n / 2 - 1, interpolation)
    regular = src.shape[1] // n
    if 0 < regular < shape[1]:
        out[:, regular:] = out[:, regular - 1 : regular]
    return out


def upsize(src, n, interpolation):
    shape = [side * n for side in src.shape]
    return _resized(src, shape, lambda x: (x + 0.5 + 1 / n) / n - 0.5, interpolation)
