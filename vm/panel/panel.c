// SPDX-License-Identifier: MIT OR GPL-2.0
/*
 * The gateway's display as a kernel module, for the virtual gateway: a
 * one-bit framebuffer of 128 x 64 or 128 x 32 pixels in ordinary memory and
 * the backlight device beside it, under the platform device names of the real
 * controllers. What a program maps is what read() of /dev/fb0 returns, as on
 * the real drivers, which send the same memory to the controller over I2C.
 */
#include <linux/backlight.h>
#include <linux/fb.h>
#include <linux/module.h>
#include <linux/platform_device.h>
#include <linux/vmalloc.h>

#define PANEL_WIDTH 128
#define PANEL_MAX_BRIGHTNESS 255

static unsigned int lines = 64;
module_param(lines, uint, 0444);
MODULE_PARM_DESC(lines, "64 for the SSD1306 panel, 32 for the ST7565 panel");

struct panel_names {
	const char *device;
	const char *backlight;
};

static const struct panel_names ssd1306 = { "SSD1306fb", "ssd1306bl0" };
static const struct panel_names st7565 = { "ST7565fb", "st7565bl0" };

static struct platform_device *panel_device;

static int panel_mmap(struct fb_info *info, struct vm_area_struct *vma)
{
	return remap_vmalloc_range(vma, info->screen_buffer, vma->vm_pgoff);
}

static const struct fb_ops panel_ops = {
	.owner = THIS_MODULE,
	.fb_read = fb_sys_read,
	.fb_write = fb_sys_write,
	.fb_fillrect = sys_fillrect,
	.fb_copyarea = sys_copyarea,
	.fb_imageblit = sys_imageblit,
	.fb_mmap = panel_mmap,
};

static int panel_set_brightness(struct backlight_device *backlight)
{
	return 0; /* the class keeps the level; there is no lamp to switch */
}

static const struct backlight_ops panel_backlight_ops = {
	.update_status = panel_set_brightness,
};

static void panel_describe(struct fb_info *info, const char *name, void *memory)
{
	const size_t size = PANEL_WIDTH / 8 * lines;

	strscpy(info->fix.id, name, sizeof(info->fix.id));
	info->fix.type = FB_TYPE_PACKED_PIXELS;
	info->fix.visual = FB_VISUAL_MONO10;
	info->fix.accel = FB_ACCEL_NONE;
	info->fix.line_length = PANEL_WIDTH / 8;
	info->fix.smem_len = size;
	info->var.xres = info->var.xres_virtual = PANEL_WIDTH;
	info->var.yres = info->var.yres_virtual = lines;
	info->var.bits_per_pixel = 1;
	info->var.red.length = info->var.green.length = info->var.blue.length = 1;
	info->fbops = &panel_ops;
	info->flags = FBINFO_DEFAULT | FBINFO_VIRTFB;
	info->screen_buffer = memory;
	info->screen_size = size;
}

static int panel_add_framebuffer(const char *name)
{
	void *memory = vmalloc_user(PAGE_ALIGN(PANEL_WIDTH / 8 * lines));
	struct fb_info *info = framebuffer_alloc(0, &panel_device->dev);

	if (!memory || !info)
		return -ENOMEM;
	panel_describe(info, name, memory);
	return register_framebuffer(info);
}

static int panel_add_backlight(const char *name)
{
	const struct backlight_properties properties = {
		.type = BACKLIGHT_RAW,
		.max_brightness = PANEL_MAX_BRIGHTNESS,
	};

	return PTR_ERR_OR_ZERO(backlight_device_register(name, &panel_device->dev, NULL,
							 &panel_backlight_ops, &properties));
}

/* Stays loaded: a machine whose panel fails to come up is of no use, and gives nothing back. */
static int __init panel_init(void)
{
	const struct panel_names *names = lines == 64 ? &ssd1306 : &st7565;
	int error;

	panel_device = platform_device_register_simple(names->device, PLATFORM_DEVID_NONE, NULL, 0);
	if (IS_ERR(panel_device))
		return PTR_ERR(panel_device);
	error = panel_add_framebuffer(names->device);
	return error ? error : panel_add_backlight(names->backlight);
}

module_init(panel_init);
MODULE_DESCRIPTION("Monochrome panel with backlight in ordinary memory");
MODULE_LICENSE("Dual MIT/GPL");
